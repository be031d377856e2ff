#ifndef TVL_ENGINE_VBCTREE_H
#define TVL_ENGINE_VBCTREE_H

#include <tvlclient/store.h>

// The functions of the table engine module vbctree.so, which a program loads at run time and looks up by name
// (decltype(&IOpen) is the type of a pointer).
//
// A table is one file: the name passed by the caller, with its extension replaced by ".dat". Its rows are in
// that file, or in a database server that the file points to (PermitTables). Separators are
// backslashes or slashes. Records have a fixed length and two keys, which are texts of fixed length. A
// shorter key is padded with blanks, a longer one is cut, and null means blanks; keys are compared as bytes.
// Key 1 is unique, key 2 is not.
//
// Handles are positive, belong to the process that opened them, and are never reused: a stale handle, or that
// of a parent in a forked child, is refused. Unless stated otherwise, functions return 0 on failure, and
// GetLastErrorText returns the reason. A function waits for at most 10 s in total for a table that other
// threads or processes have locked.
//
// Any thread may call any function. Only the current record, the last error and an open batch belong to one
// thread.
extern "C" {

// Returns why the last failed call of the calling thread failed. The text is valid until the next failure.
const char* GetLastErrorText();

// Returns the kind of failure of the last call of the calling thread: 0 no failure, 1 there is no such
// record, 2 another thread or process kept the table busy for as long as a call waits, 3 the table is
// read-only here, 4 a key, a record or the file is damaged, 5 anything else. IsStillNamed and all functions
// that take a path, a handle or a field count as calls.
int GetLastProblem();

// Open a table; IREOpen opens it for reading only. IOpen also opens a table that can only be read, but then
// writing fails. Return -1 if the file cannot be opened or is not a table. While a handle is open, nobody can
// delete or re-create the table.
int IOpen(const char* path);
int IREOpen(const char* path);

// Closes a handle, after ending its batches as EndBatch does.
int IClose(int handle);

// Returns the length of a record (selector 0), of key 1 (1) or of key 2 (2), or -1.
int GetLength(int handle, int selector);

// Sets the current record of the calling thread, with the fields of `schema`. `record` must remain valid
// until the next call; the schema is copied. Returns 0 if the schema is invalid; then the record has no
// fields.
int SetCurrentRecord(const char* schema, void* record, int recordLength);

// Copy a field of the current record, by index or name, as a text of at most the field's length and a NUL.
// `destination` may be inside the current record. Return 0 with the text "0" for bytes that are not a number.
int GetFieldValueByIdx(int index, char* destination);
int GetFieldValueByName(const char* name, char* destination);

// Store a value in a field of the current record. A text is cut to fit; a number that does not fit is
// refused.
int SetFieldValueByIdx(int index, const char* value);
int SetFieldValueByName(const char* name, const char* value);

// Write the current record, or `record`, with these keys. Replace a record with the same key 1, which keeps
// its key 2 if `key2` is blank.
int WriteKeys(int handle, const char* key1, const char* key2);
int WriteRawKeys(int handle, const char* key1, const char* key2, const void* record);

// Deletes the records with both keys. A key that is null or empty matches any; if both are, nothing is
// deleted. A key of blanks is an ordinary key. Returns 1 only if a record was deleted.
int DeleteKeys(int handle, const char* key1, const char* key2);

// Search for a record by key number 1 or 2. If one is found, return 1 and store its key in `key` (a buffer
// for the key and a NUL) and its bytes in `record`; otherwise leave both unchanged. A damaged row on the way,
// with a key or record of the wrong length or type, is never mistaken for "no such record": the result is 0,
// and GetLastProblem returns 4. Of several records with the same key 2, upward reads find that with the
// lowest key 1, downward reads that with the highest.
int ReadKeyEq(int handle, int keyNumber, char* key, void* record);
int ReadKeyGt(int handle, int keyNumber, char* key, void* record);
int ReadKeyGtEq(int handle, int keyNumber, char* key, void* record);
int ReadKeyLt(int handle, int keyNumber, char* key, void* record);
int ReadKeyLtEq(int handle, int keyNumber, char* key, void* record);

// Creates an empty table, replacing an existing one unless it is open. Returns 0 on success, unlike all other
// functions. Lengths are 1 to 6143 for a record, 1 to 1023 for key 1, and 0 to 1023 for key 2.
int CreateArchive(const char* path, int recordLength, int key1_length, int key2_length);

// Until EndBatch, the calls of this thread on the table form one snapshot (`for_writing` 0) or one
// transaction. Meanwhile other processes cannot write, nor read during a transaction, and other threads wait;
// in a database server, others read at any time, and write during a snapshot, which does not show it.
//
// Batches of one thread on one table nest, even with different handles: an inner batch is part of the
// outermost one, whose EndBatch commits all rows or, if it returns 0, none of them. After a refused row, the
// batch continues with the rows before it. Only if the disk fails is everything rolled back, and all later
// writes of the batch fail. A database server may refuse a row later than its call: then EndBatch returns 0,
// and the rows before it are kept.
int BeginBatch(int handle, int for_writing);
int EndBatch(int handle);

// Returns 1 if the path with which the handle was opened still refers to the open file, and 0 if the file was
// moved, deleted or replaced.
int IsStillNamed(int handle);

// From now on, `file`, a tables.ini, decides whether the rows of tables in `folder` and below it may be in a
// database server, and whether new tables are created there. If it does not exist, all tables are
// files of their own. Returns 1, or 0 if a path is null or memory ran out.
int PermitTables(const char* folder, const char* file);

// Move the rows of a table to a database in its data file (`to_database` 0) or to the database server that
// tables.ini names; continue with the rows of a data file that was copied; give such a file a copy of the
// rows. Nobody may have the table open. If the process is killed, the table is unchanged or completely moved.
int MoveTable(const char* path, int to_database);
int AdoptTable(const char* path);
int ForkTable(const char* path);

// Returns 1 if the rows of the data file `file` are in a database server, and copies the table's id to `id`,
// a buffer of 33 bytes; an empty text if the file is damaged. Returns 0 for any other file, and -1 if it
// cannot be read. Needs no tables.ini.
int GetTableId(const char* file, char* id);

// Describes the database server that tables.ini names for the tables of a folder. Returns 1, or 0 if there is
// none or it cannot be reached; then the names are filled in if tables.ini could be read.
int GetDatabase(const char* folder, TVLDatabase* database);

// Calls `visit` for each table of the store to which the tables of `folder` belong. The paths are null.
int ListDatabaseTables(const char* folder, TVLDatabaseTableCallback visit, void* data);

// Notes that no data file points to these tables of the store, and forgets that for all others. `ids` are ids
// separated by commas.
int NoteOrphans(const char* folder, const char* ids);

// Deletes a table of the store with its rows. It must have been noted as an orphan at least `seconds` ago.
int DropOrphan(const char* folder, const char* id, long long seconds);

// Closes all handles.
void CloseAll();

// Returns the versions of this engine and of its SQLite: "1.0.0 (SQLite 3.40.1)". The text is never freed.
const char* GetEngineVersion();

}  // extern "C"

#endif
