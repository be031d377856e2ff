#ifndef TVLCLIENT_RECORD_SET_H
#define TVLCLIENT_RECORD_SET_H

#include <tvlclient/client_opr.h>
#include <tvlclient/export.h>
#include <tvlclient/record.h>

// Rows of a keyed table in one block of memory. They are read together by key prefix, changed in memory, and
// written back together.
//
//     CTVLCtreeRs orders(&store);
//     CTVLCtreeRecord order;
//     order.Attach("number-D8 total-F7.2", 13);
//     if (orders.Open(name) == TVL_OK && orders.ReadKeyPrefiz(prefixes)) {
//       for (orders.Rewind(); orders.Next();) {
//         orders.Attach(&order, -1);
//         orders.SetIntFieldValueByName("total", 0);
//       }
//       orders.WriteTheBlock();
//     }
//
// Life cycle: construct on a connection, `Open` or `InitAndOpen`, any operations, `Close`. Close a set before
// its connection is closed, and destroy it before the connection is destroyed. Open sets of one connection
// share the handle of a table.
//
// A row consists of key 1, a NUL, key 2, a NUL and the record; keys are padded with blanks. A row argument of
// -1 means the current row. Flags are 1 and 0; codes are those of errors.h. Functions that may move the block
// (`AddNew`, `Extend`, `ReadKeyPrefiz`, `MakeEmpty`, `Close`) invalidate the attached record until the next
// `Attach`. No function throws. One object serves one thread at a time, that of the connection.
class TVL_API CTVLCtreeRs {
 public:
  explicit CTVLCtreeRs(CTVLClientOpr* owner) noexcept;
  // A copy is a closed set on the same connection. Rows and table stay with the source.
  CTVLCtreeRs(const CTVLCtreeRs& other) noexcept;
  CTVLCtreeRs& operator=(const CTVLCtreeRs& other) noexcept;
  virtual ~CTVLCtreeRs();

  // Creates the table with these lengths in bytes, replacing an existing one, and opens it. Returns TVL_OK,
  // TVL_ERR_DELETE_FILE if it cannot be created, or the code of the connection.
  int InitAndOpen(char* name, int recordLength, int firstKeyLength, int secondKeyLength) noexcept;
  // Opens an existing table and takes its lengths. Returns TVL_OK, TVL_ERR_SERVER_FILE, or the code of the
  // connection.
  int Open(char* name) noexcept;
  // Frees the rows and closes the table. The lengths keep their values.
  void Close() noexcept;

  // Returns the name with which the table was opened; empty if the set is closed.
  char* File() noexcept { return fileName; }
  int DatLen() const noexcept { return datLen; }
  int Key1Len() const noexcept { return key1Len; }
  int Key2Len() const noexcept { return key2Len; }
  int Count() const noexcept { return count; }

  // Reserves memory for a total of `rows` rows; never shrinks. Returns 0 if the set is closed or memory runs
  // out.
  int Extend(int rows) noexcept;
  // Removes all rows from memory. The table stays open.
  void MakeEmpty() noexcept;
  // Appends a row and makes it current. Null keys mean blanks. `bytes` has the length of a record; if it is
  // null, the record consists of zeros.
  int AddNew(const char* key1, const char* key2, const void* bytes) noexcept;

  // Return the parts of a row. If `row` is out of range, the keys are an empty text that must not be
  // modified, and the record is null.
  char* Key1(int row) noexcept;
  char* Key2(int row) noexcept;
  void* Rec(int row) noexcept;
  // Replace a key by `text`, cut to the length of the key and padded with blanks (`fill` 1) or NULs (0). Null
  // means padding only.
  int SetKey1(const char* text, int fill, int row) noexcept;
  int SetKey2(const char* text, int fill, int row) noexcept;

  // Sets the record of `attached` to that of a row, for the field operations below. `attached` is remembered
  // even if `row` is out of range.
  int Attach(CTVLCtreeRecord* attached, int row) noexcept;

  int MoveAt(int row) noexcept;
  int First() noexcept { return MoveAt(0); }
  int Last() noexcept { return MoveAt(count - 1); }
  int Next() noexcept { return MoveAt(current + 1); }
  int Prev() noexcept { return MoveAt(current - 1); }
  // Moves before the first row, for a loop with `Next`. Returns 1 on an open set.
  int Rewind() noexcept;

  // Replaces the rows in memory by those of the table whose key 1 begins with one of the `prefixes`, which
  // are separated by the byte 0x01 and have at most 1023 bytes in total. Returns 1 even if no row was found,
  // and 0 with unchanged rows if reading failed.
  int ReadKeyPrefiz(char* prefixes) noexcept;
  // Writes all rows. Returns TVL_OK, TVL_ERR_RS_OPEN on a closed set, or TVL_ERR_RS_WRITE at the first row
  // that fails; the rows before it were written.
  int WriteTheBlock() noexcept;
  // Delete records of the table, but no rows in memory. `keys` consists of entries key 1, 0x01, key 2, 0x02,
  // and is modified by the call. DeleteKeyPrefiz takes key 1 as a prefix and ignores key 2. Return TVL_OK,
  // TVL_ERR_RS_OPEN on a closed set, or TVL_ERR_RS_DELETE at the first failure.
  int DeleteKeys(char* keys) noexcept;
  int DeleteKeyPrefiz(char* keys) noexcept;

  // Fields of the row that is attached, as in CTVLCtreeRecord. Return 0 on a closed set or without an
  // attached record.
  int GetFieldValueByName(const char* name, char* destination) noexcept;
  int GetIntFieldValueByName(const char* name) noexcept;
  int GetFieldValueByIdx(int index, char* destination) noexcept;
  int SetFieldValueByName(const char* name, const char* text) noexcept;
  int SetIntFieldValueByName(const char* name, int value) noexcept;
  int SetFieldValueByIdx(int index, const char* text) noexcept;
  int SetIntFieldValueByIdx(int index, int value) noexcept;

 private:
  TVL_HIDDEN int Opened(const char* name, int code) noexcept;
  TVL_HIDDEN int RowIndex(int row) const noexcept;
  TVL_HIDDEN char* RowAt(int row) const noexcept;
  TVL_HIDDEN int SetKey(const char* text, int fill, int row, int offset, int length) noexcept;
  TVL_HIDDEN int Resize(int rows) noexcept;
  TVL_HIDDEN int HasRecord() const noexcept { return isOpen != 0 && record != nullptr; }

  char fileName[260];
  int handle;
  int isOpen;
  int datLen;
  int key1Len;
  int key2Len;
  int rowSize;
  unsigned char* block;  // owned, from the heap of malloc
  int count;
  int current;
  int capacity;
  CTVLCtreeRecord* record;
  CTVLClientOpr* connection;
};

#endif
