#ifndef TVL_ENGINE_VBCTREE_H
#define TVL_ENGINE_VBCTREE_H

// The functions of the table engine module vbctree.so, which a program loads at run time and asks for by name
// (decltype(&IOpen) is the type of a pointer).
//
// A table is one file, the given name with its extension replaced by ".dat"; separators are backslashes or
// slashes. Its records have a fixed length and two keys, each a text of fixed length. A key given shorter is
// completed with blanks, one given longer is cut, null stands for blanks; keys are compared as bytes. Key 1
// is unique, key 2 is not.
//
// Handles are positive, belong to the process that opened them, and their numbers are never given out twice:
// a stale one, or a parent's one in a forked child, is refused. What is refused or fails gives 0 where
// nothing else is said, and GetLastErrorText says why. A function waits 10 s at most, all its waits
// together, for a table that other threads or processes have locked.
//
// Any thread may call any function. Only the current record, the last error and an open batch belong to one
// thread.
extern "C" {

// Why the calling thread's last failed call failed. The text holds until the next failure.
const char* GetLastErrorText();

// What kind of failure the calling thread's last call ended in: 0 it succeeded, 1 there is no such record, 2
// another thread or process kept the table busy for as long as a call waits, 3 the table may not be written
// here, 4 a key, a record or the file is damaged, 5 anything else. IsStillNamed and all functions that take a
// path, a handle or a field count as calls.
int GetLastProblem();

// Opens a table; IREOpen for reading only. A table that can be read and not written is opened all the same
// and refuses to be written. -1 if it can't be opened or is none. While any handle is open, nobody can delete
// or re-create the table.
int IOpen(const char* path);
int IREOpen(const char* path);

// Closes a handle. A batch of this handle is ended first, as by EndBatch.
int IClose(int handle);

// Length of a record (selector 0), of key 1 (1) and of key 2 (2); else -1.
int GetLength(int handle, int selector);

// Makes `record` the calling thread's current record, cut into fields by `schema`. The memory is borrowed
// until the next call; the schema is not. 0 if the schema can't be read: there are no fields then.
int SetCurrentRecord(const char* schema, void* record, int recordLength);

// A field of the current record as text, by its place or name; the field's length and a NUL are written at
// most. `destination` may lie in the current record. Gives 0 and the text "0" for bytes that are no number.
int GetFieldValueByIdx(int index, char* destination);
int GetFieldValueByName(const char* name, char* destination);

// Stores a value into a field of the current record: a text is cut to fit, a number that doesn't fit is
// refused.
int SetFieldValueByIdx(int index, const char* value);
int SetFieldValueByName(const char* name, const char* value);

// Writes the current record, or the given one, under these keys. A record of the same key 1 is replaced;
// where key 2 is blank it keeps its key 2.
int WriteKeys(int handle, const char* key1, const char* key2);
int WriteRawKeys(int handle, const char* key1, const char* key2, const void* record);

// Deletes what has both keys. A key that is null or empty stands for any; with both so nothing is deleted. A
// key of blanks is a key like any other. 1 only if a record was deleted.
int DeleteKeys(int handle, const char* key1, const char* key2);

// Looks a record up by key number 1 or 2. When one is found, 1, with its key in `key` (a buffer of the key's
// length and a NUL) and its bytes in `record`; both are untouched otherwise. A damaged row on the way, one
// with a key or a record of the wrong length or kind, is never taken for "no such record": the result is 0,
// and GetLastProblem says so. Of several with the same key 2, the upward reads give that of the lowest key 1,
// the downward reads that of the highest.
int ReadKeyEq(int handle, int keyNumber, char* key, void* record);
int ReadKeyGt(int handle, int keyNumber, char* key, void* record);
int ReadKeyGtEq(int handle, int keyNumber, char* key, void* record);
int ReadKeyLt(int handle, int keyNumber, char* key, void* record);
int ReadKeyLtEq(int handle, int keyNumber, char* key, void* record);

// Makes an empty table, in place of one that is there. 0 for success, alone among all functions. A table that
// anybody holds open is left as it is. Lengths: 1 to 6143 for a record, 1 to 1023 for key 1, 0 to 1023 for
// key 2.
int CreateArchive(const char* path, int recordLength, int key1Length, int key2Length);

// From here to EndBatch, by the same thread, the calls on a table form one snapshot (`forWriting` 0) or one
// transaction. Meanwhile other processes cannot write, nor read during a transaction, and other threads wait.
//
// Batches of one thread on one table nest, also those of different handles: an inner one is part of the
// outermost, whose EndBatch keeps the rows or, with 0 as its result, none of them. A row that is refused
// leaves the rows before it in the batch, and the batch goes on. Only where the disk fails is all of it
// rolled back; all later writes of the batch then fail.
int BeginBatch(int handle, int forWriting);
int EndBatch(int handle);

// 1 if the path by which the handle was opened still names the file that it works on; 0 if the file was moved
// away, deleted or replaced.
int IsStillNamed(int handle);

// Closes all handles.
void CloseAll();

}  // extern "C"

#endif
