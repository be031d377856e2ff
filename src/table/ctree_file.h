#ifndef TVL_TABLE_CTREE_FILE_H
#define TVL_TABLE_CTREE_FILE_H

#include "platform/files.h"

// One prefix of a record type.
struct KeyPrefix {
  char* text;  // owned
  int length;
};

// A record type, identified by the first characters of a record's key.
struct RecType {
  char* schema;         // owned; also the type's name
  int prefixCount;      // at least 1
  KeyPrefix* prefixes;  // owned; entry 0 is the prefix of key 1, the others are prefixes of key 2
};

// One open table of the engine, with its record types and the buffer for one record.
//
// A key pair is one text: key 1, a NUL, key 2, a NUL. Lists of texts are separated by NULs and end with an
// empty text. Unless stated otherwise, functions return 1 for success and 0 or null for failure. All fail on
// an object that is not open. One object serves one thread at a time. A read and the following requests for
// fields belong together, because the current record belongs to the thread.
class CCtreeFile {
 public:
  static constexpr int kRecordSize = 6144;  // a record and a NUL
  static constexpr int kLongestKey = 1023;

  // Loads the engine, and opens `path` unless it is null.
  explicit CCtreeFile(const char* path = nullptr);
  virtual ~CCtreeFile();
  CCtreeFile(const CCtreeFile&) = delete;
  CCtreeFile& operator=(const CCtreeFile&) = delete;

  // Closes an open table and opens another one. Refuses a table whose records or keys are longer than the
  // limits above.
  int Open(const char* path);

  // Uses an engine handle that someone else owns and closes.
  int AttachHandle(int borrowed, int recordLength, int firstKeyLength, int secondKeyLength);

  // Closes the object and forgets its record types. Returns 1 if it was open.
  int Close();

  // Closes any engine handle; no object changes.
  static void CloseHandle(int engine_handle);

  // Creates an empty table, replacing an existing one. Deletes its files first, as far as they are not open
  // elsewhere.
  static int CreateFiles(const char* path, int recordLength, int firstKeyLength, int secondKeyLength);

  // Defines a record type, or redefines its prefixes. Returns its index, or -1.
  int AddRecType(const char* schema, const char* prefixes);
  int FindRecTypeByName(const char* schema) const;
  int FindRecTypeByKey(int keyNumber, const char* key) const;

  // Writes a record of blanks and "name=value" assignments. Modifies the assignments. The key determines the
  // record type.
  int WriteRec(const char* key_pair, char* assignments);
  int WriteRawRec(const char* key1, const char* key2, const void* record) const;

  // Read a record; `mode` 0 to 4 means equal, greater, greater or equal, less, less or equal. `key`, a buffer
  // for the key and a NUL, receives the key found. The record is valid until the next call. ReadRec requires
  // a key of a known type and makes the fields accessible.
  char* ReadRec(char* key, int keyNumber, int mode);
  char* ReadRawRec(char* key, int keyNumber, int mode);

  // Return a field of the record just read. FieldText overwrites the beginning of the record with it, so
  // fields must be requested in the order of the record.
  char* FieldText(const char* name);
  unsigned int FieldHex(const char* name);

  int DeleteRec(const char* key_pair) const;
  int DeleteRawRec(const char* key1, const char* key2) const;

  RecType* recTypes;
  int recTypeCount;
  int currentRecType;  // type of the record read last, -1 for none
  int handle;          // negative when closed
  int datLen;
  int key1Len;
  int key2Len;
  char recordBuffer[kRecordSize];
  int borrowedHandle;

 private:
  bool IsOpen() const { return handle >= 0; }
  bool IsWritable() const { return handle >= 0 && key1Len >= 0 && datLen != 0; }
  void FreeRecTypes();
  char* ReadFromEngine(char* key, int keyNumber, int mode);
};

#endif
