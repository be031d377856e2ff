#include "engine/engine.h"

namespace {

// Changes a table's file as a damaged disk or a hostile program might.
void Damage(const string& table, const string& sql) {
  sqlite3* database = nullptr;
  sqlite3_open(table.c_str(), &database);
  char* problem = nullptr;
  EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, &problem), SQLITE_OK) << problem;
  sqlite3_close(database);
}

// Reads a table in one direction until a read finds nothing. Returns the problem that ended it.
int Walk(decltype(&ReadKeyEq) read, int table, int keyNumber, const char* start) {
  char key[8] = {};
  char record[21];
  string(start).copy(key, 4);
  for (int rows = 0; rows < 10; ++rows) {
    if (read(table, keyNumber, key, record) != 1) return GetLastProblem();
  }
  ADD_FAILURE() << "reads in an endless loop";
  return -1;
}

constexpr int kNotFound = 1;
constexpr int kDamaged = 4;

TEST_F(EngineTest, DamagedRowIsNotAMissingRow) {
  const std::pair<string, int> rows[] = {
      {"CAST('c' AS BLOB), x'202020', zeroblob(20)", kDamaged},      // a key without its blanks
      {"CAST('c   x' AS BLOB), x'202020', zeroblob(20)", kDamaged},  // a key too long
      {"'c   ', '   ', zeroblob(20)", kDamaged},                     // keys as text
      {"7, x'202020', zeroblob(20)", kDamaged},                      // a number
      {"x'63002020', x'202020', zeroblob(20)", kNotFound},           // a NUL inside
      {"CAST('c   ' AS BLOB), x'20', zeroblob(20)", kDamaged},       // the other key
      {"CAST('c   ' AS BLOB), x'202020', zeroblob(19)", kDamaged},   // a short record
      {"CAST('c   ' AS BLOB), x'202020', zeroblob(50)", kDamaged},   // a long one
      {"CAST('c   ' AS BLOB), x'202020', 'a text of 20 chars '", kDamaged},
      {"CAST('c   ' AS BLOB), x'202020', zeroblob(1100000)", kDamaged},
  };
  for (const auto& [row, equal] : rows) {
    SCOPED_TRACE(row);
    ASSERT_EQ(Create(), 0);
    int table = Open();
    for (const char* key : {"a", "b", "d", "e"}) ASSERT_EQ(Write(table, key, "", key), 1);
    IClose(table);
    Damage(table_, "INSERT INTO records VALUES(" + row + ")");
    table = Open();
    ASSERT_GT(table, 0) << GetLastErrorText();
    EXPECT_EQ(Walk(ReadKeyEq, table, 1, "c"), equal);
    EXPECT_EQ(Walk(ReadKeyGt, table, 1, ""), kDamaged);
    EXPECT_EQ(Walk(ReadKeyLt, table, 1, "~"), kDamaged);
    EXPECT_EQ(Read(ReadKeyEq, table, 1, "d"), "d|d") << "whole rows can be had";
    EXPECT_EQ((Codes{Write(table, "c", "", "again"), Write(table, "f", "", "")}), (Codes{1, 1}));
    IClose(table);
  }
}

}  // namespace
