#ifndef TVLCLIENT_RECORD_H
#define TVLCLIENT_RECORD_H

#include <tvlclient/export.h>

// One field of a record, as a schema describes it.
struct _format_ {
  char name[64];  // in upper case
  char type;      // 'D' text, 'F' packed number
  int length;     // the number behind the letter
  int decimals;   // the number behind the point, else 0
  int size;       // bytes in the record
  int offset;     // first byte, from the start of the record
};

// Fields of one record, read and written by name or by place in memory that somebody else owns.
//
//     CTVLCtreeRecord order;
//     order.Attach("number-D8 total-F7.2", 13);
//     order.SetWrkRec(bytes);
//     order.SetFieldValueByName("total", "123.45");
//
// A schema lists fields as name-Tlength or name-Tlength.decimals, with blanks between them, in the order in
// which they lie in the record: T is D for a text, filled with blanks on the right, F for a packed number of
// `length` digits and `decimals` places. Names have at most 63 characters and ignore case.
//
// Life: construct, `Attach` a schema, `SetWrkRec` a record, as often as needed; every `Attach` forgets the
// former schema and record. The record is borrowed: it must stay where it is until the next `SetWrkRec`,
// `Attach` or `Detach`. A copy gets the schema and no record. Results are 1 for done and 0 for refused;
// nothing throws. One object serves one thread at a time.
// NOLINTNEXTLINE(cppcoreguidelines-special-member-functions): a move is a copy
class TVL_API CTVLCtreeRecord {
 public:
  CTVLCtreeRecord() noexcept = default;
  CTVLCtreeRecord(const CTVLCtreeRecord& other) noexcept;
  CTVLCtreeRecord& operator=(const CTVLCtreeRecord& other) noexcept;
  virtual ~CTVLCtreeRecord();

  // Takes a schema for records of `recordLength` bytes. 0, and no schema, if it is empty, has a field that
  // can't be read, or needs more bytes than the record has.
  int Attach(const char* schema, int recordLength) noexcept;
  void Detach() noexcept;

  // 1 while there is a schema.
  int IsValid() const noexcept { return fieldCount > 0 ? 1 : 0; }

  // Points the object at a record of the length given to `Attach`. Null takes the record away and gives 0,
  // and so does anything without a schema, which changes nothing.
  int SetWrkRec(void* record) noexcept;

  // The value as text, without blanks at the end. `destination`: room for the field's length + 1 (text) or
  // twice its size + 1 (number). 0 and the empty text if there is no record; 0 and "0" for bytes that are no
  // number; an unknown field leaves it untouched. A number field that is blank at its end gets its filler, in
  // the record, on the way.
  int GetFieldValueByName(const char* name, char* destination) noexcept;
  int GetFieldValueByIdx(int index, char* destination) noexcept;

  // The value's whole part, 0 on any failure.
  int GetIntFieldValueByName(const char* name) noexcept;

  // Stores a value. A text longer than its field is cut. A number is digits with one leading "-" and one
  // point, with a digit before it; one that needs more bytes than the field has gives 0 and changes nothing.
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
