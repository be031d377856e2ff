#ifndef TVLCLIENT_RECORD_SET_H
#define TVLCLIENT_RECORD_SET_H

#include <tvlclient/client_opr.h>
#include <tvlclient/export.h>
#include <tvlclient/record.h>

// Rows of a keyed table in one block of memory: read by key prefix in one go, walked and changed here,
// written back in one go.
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
// Life: construct on a connection, `Open` or `InitAndOpen`, any operations, `Close`; close it before the
// connection, and destroy it before the connection is destroyed. An open set shares its table's handle with
// others of the connection.
//
// A row is key 1, a NUL, key 2, a NUL, the record; keys are filled with blanks. Where an operation takes a
// row, -1 means the current one. Flags are 1 and 0; codes are those of errors.h. Whatever may move the block
// (`AddNew`, `Extend`, `ReadKeyPrefiz`, `MakeEmpty`, `Close`) leaves an attached record pointing nowhere
// until the next `Attach`. Nothing throws. One object serves one thread at a time, the connection's.
class TVL_API CTVLCtreeRs {
 public:
  explicit CTVLCtreeRs(CTVLClientOpr* owner) noexcept;
  // A copy is a closed set on the same connection: rows and table stay with the source.
  CTVLCtreeRs(const CTVLCtreeRs& other) noexcept;
  CTVLCtreeRs& operator=(const CTVLCtreeRs& other) noexcept;
  virtual ~CTVLCtreeRs();

  // Makes the table anew, with these lengths in bytes, and opens it. 0; 23 if it can't be made; the
  // connection's code.
  int InitAndOpen(char* name, int recordLength, int firstKeyLength, int secondKeyLength) noexcept;
  // Opens a table that is there; its lengths are the table's. 0; 20; the connection's code.
  int Open(char* name) noexcept;
  // Frees the rows and gives the table back. The lengths keep their values.
  void Close() noexcept;

  // The table's name as it was opened; empty when closed.
  char* File() noexcept { return fileName; }
  int DatLen() const noexcept { return datLen; }
  int Key1Len() const noexcept { return key1Len; }
  int Key2Len() const noexcept { return key2Len; }
  int Count() const noexcept { return count; }

  // Makes room for so many rows in all; never less than there is. 0 if the set is closed or memory is out.
  int Extend(int rows) noexcept;
  // Forgets the rows; the table stays open.
  void MakeEmpty() noexcept;
  // Puts a row at the end and makes it current. Null keys mean blanks; without bytes (datLen of them) the row
  // has zeros.
  int AddNew(const char* key1, const char* key2, const void* bytes) noexcept;

  // Parts of a row. An impossible row has an empty text, which must not be written to, and no record.
  char* Key1(int row) noexcept;
  char* Key2(int row) noexcept;
  void* Rec(int row) noexcept;
  // Replaces a key: the text, cut to the key's length, over blanks (`fill` 1) or NULs. Null means all
  // filling.
  int SetKey1(const char* text, int fill, int row) noexcept;
  int SetKey2(const char* text, int fill, int row) noexcept;

  // Points `attached` at a row's record, for the field operations below. It is remembered even if the row is
  // impossible.
  int Attach(CTVLCtreeRecord* attached, int row) noexcept;

  int MoveAt(int row) noexcept;
  int First() noexcept { return MoveAt(0); }
  int Last() noexcept { return MoveAt(count - 1); }
  int Next() noexcept { return MoveAt(current + 1); }
  int Prev() noexcept { return MoveAt(current - 1); }
  // Stands before the first row, for a walk with `Next`. 1 on an open set.
  int Rewind() noexcept;

  // Replaces the rows by those whose key 1 begins with a prefix. `prefixes`: texts with the byte 0x01 between
  // them, 1023 bytes at most. 1 also if none was found; 0, and the rows stay, if the read failed.
  int ReadKeyPrefiz(char* prefixes) noexcept;
  // Writes all rows. 0; 30 on a closed set; 34 at the first row that fails, with those before it written.
  int WriteTheBlock() noexcept;
  // Deletes records of the table, not rows here. `keys`: entries of key 1, 0x01, key 2, 0x02; cut up by the
  // call. For `DeleteKeyPrefiz` key 1 is a prefix and key 2 isn't looked at. 0; 30 on a closed set; 35 at the
  // first that fails.
  int DeleteKeys(char* keys) noexcept;
  int DeleteKeyPrefiz(char* keys) noexcept;

  // Fields of the row to which the attached record points, as CTVLCtreeRecord tells; 0 on a closed set or
  // without one.
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
