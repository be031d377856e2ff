#ifndef TVLCLIENT_RECORD_H
#define TVLCLIENT_RECORD_H

#include <tvlclient/export.h>

// A field of a record as described by a schema.
struct _format_ {
  char name[64];  // in upper case
  char type;      // 'D' text, 'F' packed number
  int length;     // the number after the letter
  int decimals;   // the number after the point, else 0
  int size;       // bytes in the record
  int offset;     // position of the first byte in the record
};

// Reads and writes the fields of one record, by name or position. The memory of the record belongs to the
// caller.
//
//     CTVLCtreeRecord order;
//     order.Attach("number-D8 total-F7.2", 13);
//     order.SetWrkRec(bytes);
//     order.SetFieldValueByName("total", "123.45");
//
// A schema lists the fields in the order of the record, separated by blanks, as name-Tlength or
// name-Tlength.decimals. T is D for a text padded with blanks, or F for a packed number of `length` digits
// and `decimals` places. Names have at most 63 characters and ignore case.
//
// Life cycle: construct, `Attach` a schema, `SetWrkRec` a record, as often as needed. Every `Attach` replaces
// the schema and detaches the record. The record must remain valid until the next `SetWrkRec`, `Attach` or
// `Detach`. A copy gets the schema, but no record. Functions return 1 for success and 0 for failure; none
// throws. One object serves one thread at a time. NOLINTNEXTLINE(cppcoreguidelines-special-member-functions):
// a move is a copy
class TVL_API CTVLCtreeRecord {
 public:
  CTVLCtreeRecord() noexcept = default;
  CTVLCtreeRecord(const CTVLCtreeRecord& other) noexcept;
  CTVLCtreeRecord& operator=(const CTVLCtreeRecord& other) noexcept;
  virtual ~CTVLCtreeRecord();

  // Sets the schema for records of `recordLength` bytes. Returns 0 and has no schema if it is empty, has an
  // invalid field, or needs more bytes than the record has.
  int Attach(const char* schema, int recordLength) noexcept;
  void Detach() noexcept;

  // Returns 1 if there is a schema, else 0.
  int IsValid() const noexcept { return fieldCount > 0 ? 1 : 0; }

  // Sets the record, which has the length passed to `Attach`. With null, removes the record and returns 0.
  // Without a schema, returns 0 and changes nothing.
  int SetWrkRec(void* record) noexcept;

  // Copies the value as a text without trailing blanks. `destination` is a buffer of the field's length + 1
  // bytes for a text, or twice its size + 1 for a number. Returns 0 with an empty text if there is no record,
  // 0 with "0" for bytes that are not a number, and 0 without changing `destination` for an unknown field. If
  // a number field ends in a blank, writes the missing filler to the record.
  int GetFieldValueByName(const char* name, char* destination) noexcept;
  int GetFieldValueByIdx(int index, char* destination) noexcept;

  // Returns the integer part of the value, or 0 on any failure.
  int GetIntFieldValueByName(const char* name) noexcept;

  // Stores a value. A text longer than its field is cut. A number consists of digits with an optional leading
  // "-" and an optional point after at least one digit. Returns 0 and changes nothing for a number that does
  // not fit its field.
  int SetFieldValueByName(const char* name, const char* text) noexcept;
  int SetFieldValueByIdx(int index, const char* text) noexcept;
  int SetIntFieldValueByName(const char* name, int value) noexcept;
  int SetIntFieldValueByIdx(int index, int value) noexcept;

 private:
  TVL_HIDDEN int SetCurrentRecord(const char* schema, int recordLength) noexcept;
  TVL_HIDDEN const _format_* FldByName(const char* name) const noexcept;
  TVL_HIDDEN const _format_* FldByIdx(int index) const noexcept;
  TVL_HIDDEN int GetFieldValue(const _format_* field, char* destination) noexcept;
  TVL_HIDDEN int SetFieldValue(const _format_* field, const char* text) noexcept;
  TVL_HIDDEN int SetIntFieldValue(const _format_* field, int value) noexcept;

  int fieldCount = 0;
  _format_* fields = nullptr;  // owned, fieldCount of them
  unsigned char* wrkRec = nullptr;
  int recLen = 0;
};

#endif
