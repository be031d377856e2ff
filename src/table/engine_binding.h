#ifndef TVL_TABLE_ENGINE_BINDING_H
#define TVL_TABLE_ENGINE_BINDING_H

#include <tvlclient/store.h>

// The only code that knows the table engine, a module that is loaded at run time: its module handle and a
// table of its functions. The wrappers below call a function if it exists and report its failure otherwise,
// so with a missing or broken module every call fails. Any thread may call them.

// Loads the engine unless it is loaded. Looks for "vbctree.dll", then "vbctree.so", next to the executable,
// then next to this library, and last for "vbctree.so" in the library's subfolder "tvlclient". Always returns
// 1; calls of missing functions fail.
int LoadTableEngine();

// Closes all handles of the engine and unloads it, unless a TableEngineUse exists.
void UnloadTableEngine();

namespace tvl {

// Reasons for which the engine refuses a call.
enum class TableProblem {
  kNone = 0,
  kNotFound = 1,  // there is no such record
  kBusy = 2,      // another thread or process kept the table locked for the maximum wait of 10 s
  kReadOnly = 3,  // the table may not be written here
  kDamaged = 4,   // a key, a record or the file is damaged
  kUnusable = 5,  // anything else: no engine, a closed handle, a failing disk
};

// Keeps the engine loaded while an open connection uses it, because unloading would close its lock table.
class TableEngineUse {
 public:
  TableEngineUse();
  ~TableEngineUse();
  TableEngineUse(const TableEngineUse&) = delete;
  TableEngineUse& operator=(const TableEngineUse&) = delete;
};

namespace engine {

// How a record is searched for, numbered as by the callers of CCtreeFile.
enum class ReadMode { kEqual = 0, kGreater = 1, kGreaterOrEqual = 2, kLess = 3, kLessOrEqual = 4 };

// Opens a table. Returns its handle, negative on failure.
[[nodiscard]] int Open(const char* path);
void Close(int handle);

// Returns the length of the record for selector 0, and of key 1 or 2 for selectors 1 and 2.
[[nodiscard]] int GetLength(int handle, int selector);

// Returns 1 if a record was found, and copies its key and contents to `key` (a buffer for the key and a NUL)
// and `record`.
[[nodiscard]] int Read(ReadMode mode, int handle, int keyNumber, char* key, void* record);

// Returns why the calling thread's last call of the engine failed; kNone after a success, and for an engine
// that reports no reasons.
[[nodiscard]] TableProblem LastProblem();

// Returns the engine's words for that; empty after a success, for a record that does not exist, and for an
// engine that reports no reasons. Valid until the thread's next call.
[[nodiscard]] const char* LastFailure();

// Sets the current record of the calling thread, which is independent of tables. Fields are accessed by name
// in it.
void SetCurrentRecord(const char* schema, void* record, int recordLength);
[[nodiscard]] int GetFieldValueByName(const char* name, char* destination);
void SetFieldValueByName(const char* name, const char* value);

// Return 1 on success. WriteKeys writes the current record.
[[nodiscard]] int WriteKeys(int handle, const char* key1, const char* key2);
[[nodiscard]] int WriteRawKeys(int handle, const char* key1, const char* key2, const void* record);
[[nodiscard]] int DeleteKeys(int handle, const char* key1, const char* key2);

// Returns the version of the engine; empty if it has none.
[[nodiscard]] const char* Version();

// From now on, the tables.ini `file` decides about the tables in `folder` and below it.
void PermitTables(const char* folder, const char* file);

// Move the rows of a table that nobody has open (engine/vbctree.h). Return 1 on success.
[[nodiscard]] int MoveTable(const char* path, int to_database);
[[nodiscard]] int AdoptTable(const char* path);
[[nodiscard]] int ForkTable(const char* path);

// Returns 1 for a data file that points to a database server, with the table's id in `id`, a buffer of
// kTableIdSize bytes; 0 for any other file; -1 if it cannot be read.
constexpr int kTableIdSize = 33;
[[nodiscard]] int GetTableId(const char* file, char* id);

// Concern the server for the tables of a folder. Return 1 on success.
[[nodiscard]] int GetDatabase(const char* folder, TVLDatabase* database);
[[nodiscard]] int ListDatabaseTables(const char* folder, TVLDatabaseTableCallback visit, void* data);
[[nodiscard]] int NoteOrphans(const char* folder, const char* ids);
[[nodiscard]] int DropOrphan(const char* folder, const char* id, long long seconds);

// Returns 0 on success, unlike the other functions.
[[nodiscard]] int CreateArchive(const char* path, int recordLength, int key1_length, int key2_length);

}  // namespace engine

// A sequence of calls on one table that form one snapshot or one transaction, if the engine supports this.
//
// A batch belongs to the thread that began it. A batch inside another one of the thread on the same table,
// even by another handle, becomes part of it: nothing is committed before the outermost batch ends, so the
// transaction may be lost even if End of an inner batch returns true. A batch for writing cannot begin inside
// one for reading.
class TableBatch {
 public:
  enum class Kind { kRead = 0, kWrite = 1 };

  // With a negative `handle`, the batch does not begin.
  TableBatch(int handle, Kind kind);
  ~TableBatch();
  TableBatch(const TableBatch&) = delete;
  TableBatch& operator=(const TableBatch&) = delete;

  // Returns false if the table cannot be used, for example because it has been locked for too long.
  [[nodiscard]] bool HasBegun() const { return begun_; }

  // Returns why the batch did not begin or why End failed, else kNone.
  [[nodiscard]] TableProblem Problem() const { return problem_; }

  // Returns, inside a batch, whether the path with which the table was opened still refers to the open file.
  // If not, the table was replaced and other clients use another file: close the handle and open the path
  // again. Returns true if the engine cannot answer.
  [[nodiscard]] bool StillNamed() const;

  // Returns whether any read of this thread since the batch began met a damaged key or record, or failed.
  // Such a read returns the same as for "no record", although there may be one. Remains valid after End.
  [[nodiscard]] bool MetDamage() const;

  // Ends the batch. Returns false if the changes could not be committed.
  [[nodiscard]] bool End();

 private:
  [[nodiscard]] TableProblem ProblemOfFailure() const;

  int handle_;
  bool begun_;
  TableProblem problem_;
  unsigned int damage_before_;
};

}  // namespace tvl

#endif
