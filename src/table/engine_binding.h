#ifndef TVL_TABLE_ENGINE_BINDING_H
#define TVL_TABLE_ENGINE_BINDING_H

// The one place that knows the table engine, a module loaded at run time: the process's module handle and its
// table of the engine's functions. The wrappers below call a function if it is there and give its failure if
// not, so a missing or broken module is an engine that refuses everything. Any thread may call them.

// Loads the engine unless it is loaded. Looked for, in this order: "vbctree.dll" and "vbctree.so" beside the
// executable, "vbctree.so" beside this library and in its subfolder "tvlclient". Always 1: what is missing
// shows when it is called.
int LoadTableEngine();

// Unloads the engine, all its handles closed first, unless a TableEngineUse says that it is still needed.
void UnloadTableEngine();

namespace tvl {

// Why the engine refused a call.
enum class TableProblem {
  kNone = 0,
  kNotFound = 1,  // there is no such record
  kBusy = 2,  // another thread or process kept the table locked for the whole time that a call waits, 10 s
  kReadOnly = 3,  // the table may not be written here
  kDamaged = 4,   // a key, a record or the file is not as the engine wrote it
  kUnusable = 5,  // anything else: no engine, a closed handle, a failing disk
};

// Keeps the engine from being unloaded while an open connection works with it: its lock table would die with
// the engine.
class TableEngineUse {
 public:
  TableEngineUse();
  ~TableEngineUse();
  TableEngineUse(const TableEngineUse&) = delete;
  TableEngineUse& operator=(const TableEngineUse&) = delete;
};

namespace engine {

// How a record is looked for, as CCtreeFile's callers number it.
enum class ReadMode { kEqual = 0, kGreater = 1, kGreaterOrEqual = 2, kLess = 3, kLessOrEqual = 4 };

// The handle of an opened table; negative for a failure.
[[nodiscard]] int Open(const char* path);
void Close(int handle);

// Selector 0: the record's length, 1 and 2: that of the keys.
[[nodiscard]] int GetLength(int handle, int selector);

// 1 if a record was found: `key` (room for the key's length and a NUL) and `record` hold what it has.
[[nodiscard]] int Read(ReadMode mode, int handle, int keyNumber, char* key, void* record);

// Why the calling thread's last call of the engine failed; kNone after a success, and with an engine that
// gives no reasons.
[[nodiscard]] TableProblem LastProblem();

// The calling thread's one current record, whatever the table; field access by name goes there.
void SetCurrentRecord(const char* schema, void* record, int recordLength);
[[nodiscard]] int GetFieldValueByName(const char* name, char* destination);
void SetFieldValueByName(const char* name, const char* value);

// 1 on success. WriteKeys writes the current record.
[[nodiscard]] int WriteKeys(int handle, const char* key1, const char* key2);
[[nodiscard]] int WriteRawKeys(int handle, const char* key1, const char* key2, const void* record);
[[nodiscard]] int DeleteKeys(int handle, const char* key1, const char* key2);

// 0 on success, alone among these.
[[nodiscard]] int CreateArchive(const char* path, int recordLength, int key1Length, int key2Length);

}  // namespace engine

// A run of calls on one table that the engine takes as one snapshot or one transaction, if it offers that.
//
// A batch belongs to the thread that began it. Inside another batch of the thread on the same table, also by
// another handle, it becomes part of that one: nothing is kept before the outermost batch ends, so a true End
// of an inner one may still be followed by a lost transaction. A batch for writing does not begin inside one
// for reading.
class TableBatch {
 public:
  enum class Kind { kRead = 0, kWrite = 1 };

  // A negative `handle` makes a batch of nothing, which hasn't begun.
  TableBatch(int handle, Kind kind);
  ~TableBatch();
  TableBatch(const TableBatch&) = delete;
  TableBatch& operator=(const TableBatch&) = delete;

  // False if the table can't be had, for instance because somebody has kept it locked for too long.
  [[nodiscard]] bool HasBegun() const { return begun_; }

  // Why the batch did not begin, or why End failed; else kNone.
  [[nodiscard]] TableProblem Problem() const { return problem_; }

  // Inside a batch: whether the path by which the table was opened still names the open file. If not, the
  // table was replaced, and what others do now happens in another file: close the handle and open the path
  // again. An engine that cannot answer counts as yes.
  [[nodiscard]] bool StillNamed() const;

  // Whether any read of this thread since the batch began met a damaged key or record, or failed. Such a read
  // returns what it returns for "no record", although there may be one. Remains valid after End.
  [[nodiscard]] bool MetDamage() const;

  // Ends the batch. False if what was written could not be kept.
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
