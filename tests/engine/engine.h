#ifndef TVL_TESTS_ENGINE_ENGINE_H
#define TVL_TESTS_ENGINE_ENGINE_H

#include <sqlite3.h>

#include "engine/vbctree.h"
#include "support/testing.h"

using Rows = std::vector<string>;

// Returns the number with eight digits.
string KeyOf(int row);

// Writes a record as a text padded with blanks. Returns 1 or 0.
int Write(int handle, const string& key1, const string& key2, const string& record);

// Returns "key|record" of the row that a read finds, without trailing blanks of either, or "".
string Read(decltype(&ReadKeyEq) read, int handle, int keyNumber, const string& key);

// Returns all records in the order of a key, in the form of Read.
Rows All(int handle, int keyNumber = 1);

// A folder with one table, "t.dat", of records of 20 bytes with keys of 4 and 3 bytes.
class EngineTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(Create(), 0) << GetLastErrorText(); }
  void TearDown() override { CloseAll(); }

  [[nodiscard]] int Create() const { return CreateArchive(table_.c_str(), 20, 4, 3); }
  [[nodiscard]] int Open() const { return IOpen(table_.c_str()); }

  TempFolder folder_{TempFolder::Memory()};
  string table_ = folder_.Host("t.dat");
};

// Returns "ok", or the errors that SQLite finds in the file of a table that is not in use.
string CheckIntegrity(const string& table);

// Runs SQL in plain SQLite.
int Execute(sqlite3* database, const char* sql);

// Tries to lock all of a file, like a client that is about to delete it.
bool CanLockWhole(const string& path);

#endif
