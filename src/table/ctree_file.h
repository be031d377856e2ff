#ifndef TVL_TABLE_CTREE_FILE_H
#define TVL_TABLE_CTREE_FILE_H

#include "platform/files.h"

// One prefix of a record type.
struct KeyPrefix {
  char* text;  // owned
  int length;
};

// One record type: the first characters of a record's key tell which one it is.
struct RecType {
  char* schema;         // owned; also the type's name
  int prefixCount;      // at least 1
  KeyPrefix* prefixes;  // owned; entry 0 is the prefix of key 1, the others are prefixes of key 2
};

// One open table of the engine, with its record types and the buffer for one record.
//
// A key pair is one text: key 1, a NUL, key 2, a NUL. Lists of texts are NUL-separated and end in an empty
// one. Results are 1 and 0, or null, where nothing else is said; an object that is not open refuses
// everything. One object serves one thread at a time. A read and the requests for fields behind it are one
// unit: the current record is the thread's.
class CCtreeFile {
 public:
  static constexpr int kRecordRoom = 6144;  // a record and the NUL behind it
  static constexpr int kLongestKey = 1023;

  // Loads the engine, and opens `path` unless that is null.
  explicit CCtreeFile(const char* path = nullptr);
  virtual ~CCtreeFile();
  CCtreeFile(const CCtreeFile&) = delete;
  CCtreeFile& operator=(const CCtreeFile&) = delete;

  // Opens a table, closing what was open. A table with longer records or keys than the limits above is
  // refused.
  int Open(const char* path);

  // Works on an engine handle that somebody else owns and closes.
  int AttachHandle(int borrowed, int recordLength, int firstKeyLength, int secondKeyLength);

  // 1 if the object was open. Record types are forgotten either way.
  int Close();

  // Closes an engine handle of anybody's; the object itself stays as it is.
  static void CloseHandle(int engineHandle);

  // Makes an empty table, whatever was under its name. Its files go first, as far as nobody has them open.
  static int CreateFiles(const char* path, int recordLength, int firstKeyLength, int secondKeyLength);

  // Defines a record type, or its prefixes anew. Its index, or -1.
  int AddRecType(const char* schema, const char* prefixes);
  int FindRecTypeByName(const char* schema) const;
  int FindRecTypeByKey(int keyNumber, const char* key) const;

  // Writes a record made of blanks and "name=value" assignments, which the call cuts up. The key tells its
  // type.
  int WriteRec(const char* keyPair, char* assignments);
  int WriteRawRec(const char* key1, const char* key2, const void* record) const;

  // Reads a record; `mode` 0 to 4 is equal, greater, greater or equal, less, less or equal. `key` has room
  // for the key's length and a NUL and gets the key found. The record stands in the object until the next
  // call. ReadRec wants a key of a known type and makes the fields ready.
  char* ReadRec(char* key, int keyNumber, int mode);
  char* ReadRawRec(char* key, int keyNumber, int mode);

  // A field of the record just read. FieldText puts it over the record's beginning, so fields are asked for
  // from the front of the record to its back.
  char* FieldText(const char* name);
  unsigned int FieldHex(const char* name);

  int DeleteRec(const char* keyPair) const;
  int DeleteRawRec(const char* key1, const char* key2) const;

  RecType* recTypes;
  int recTypeCount;
  int currentRecType;  // of the record read last, -1 for none
  int handle;          // negative when closed
  int datLen;
  int key1Len;
  int key2Len;
  char recordBuffer[kRecordRoom];
  int borrowedHandle;

 private:
  bool IsOpen() const { return handle >= 0; }
  bool IsWritable() const { return handle >= 0 && key1Len >= 0 && datLen != 0; }
  void FreeRecTypes();
  char* ReadFromEngine(char* key, int keyNumber, int mode);
};

#endif
