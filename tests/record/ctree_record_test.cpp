#include <climits>
#include <memory>

#include <tvlclient/record.h>

#include "record/field.h"
#include "support/testing.h"

namespace {

constexpr char kSchema[] = "name-D8 total-F7.2 count-F5 note-D4";
constexpr int kLength = 20;  // 8 + 5 + 3 + 4

class CtreeRecord : public testing::Test {
 protected:
  CtreeRecord() {
    EXPECT_EQ(record_.Attach(kSchema, kLength), 1);
    EXPECT_EQ(record_.SetWrkRec(bytes_.data()), 1);
  }

  string Get(const char* name) {
    char text[256] = "untouched";
    record_.GetFieldValueByName(name, text);
    return text;
  }

  CTVLCtreeRecord record_;
  string bytes_ = string(kLength, ' ');
};

TEST_F(CtreeRecord, StoresTexts) {
  const std::tuple<const char*, const char*, const char*, int> rows[] = {
      {"long", "long    ", "long", 0}, {"longer than 8", "longer t", "longer t", 0},
      {"", "        ", "", 0},         {" x", " x      ", " x", 0},
      {"a b  ", "a b     ", "a b", 0}, {"12a", "12a     ", "12a", 12},
      {"-7", "-7      ", "-7", -7},    {"  8", "  8     ", "  8", 8},
      {"+9", "+9      ", "+9", 9}};
  for (const auto& [given, stored, read, number] : rows) {
    EXPECT_EQ(record_.SetFieldValueByName("NAME", given), 1);
    EXPECT_EQ(bytes_, stored + string(12, ' ')) << "the next field is another's";
    EXPECT_EQ(Get("name"), read);
    EXPECT_EQ(record_.GetIntFieldValueByName("name"), number) << given;
  }
}

TEST_F(CtreeRecord, StoresNumbers) {
  EXPECT_EQ(Get("total"), "0");
  EXPECT_EQ(bytes_[8], '\xE4') << "a blank number becomes a zero in the record";
  EXPECT_EQ(record_.SetFieldValueByIdx(1, "-12345.67"), 1);
  EXPECT_EQ(Get("total"), "-12345.67");
  EXPECT_EQ(record_.GetIntFieldValueByName("total"), -12345);
  EXPECT_EQ(record_.SetIntFieldValueByIdx(2, 12345), 1);
  EXPECT_EQ(record_.SetIntFieldValueByName("count", INT_MIN), 0) << "doesn't fit";
  EXPECT_EQ(record_.GetIntFieldValueByName("COUNT"), 12345);
  EXPECT_EQ(record_.SetFieldValueByName("count", "1.5"), 1);
  char text[16];
  EXPECT_EQ(record_.GetFieldValueByName("count", text), 0) << "the schema has no decimals";
  EXPECT_STREQ(text, "0");
}

TEST_F(CtreeRecord, LimitsNumbersToIntRange) {
  string digits(200, '9');
  ASSERT_EQ(record_.Attach("a-D200", 200), 1);
  record_.SetWrkRec(digits.data());
  EXPECT_EQ(record_.GetIntFieldValueByName("a"), INT_MAX);
  digits[0] = '-';
  EXPECT_EQ(record_.GetIntFieldValueByName("a"), INT_MIN);
}

TEST_F(CtreeRecord, RefusesUnknownFields) {
  char text[16] = "untouched";
  for (const int index : {-1, 4, INT_MAX, INT_MIN}) {
    EXPECT_EQ((Codes{record_.GetFieldValueByIdx(index, text), record_.SetFieldValueByIdx(index, "x"),
                     record_.SetIntFieldValueByIdx(index, 1)}),
              Codes(3));
  }
  EXPECT_EQ((Codes{record_.GetFieldValueByName("nam", text), record_.SetFieldValueByName("names", "x"),
                   record_.GetIntFieldValueByName("other")}),
            Codes(3));
  EXPECT_STREQ(text, "untouched");
  EXPECT_EQ(bytes_, string(kLength, ' '));
}

TEST_F(CtreeRecord, NeedsSchemaAndRecord) {
  EXPECT_EQ(record_.SetWrkRec(nullptr), 0);
  char text[16] = "untouched";
  EXPECT_EQ(record_.GetFieldValueByName("name", text), 0);
  EXPECT_STREQ(text, "") << "without a record a read empties the destination";
  EXPECT_EQ(record_.SetFieldValueByName("name", "x"), 0);
  EXPECT_EQ(record_.GetIntFieldValueByName("count"), 0);

  EXPECT_EQ(record_.SetWrkRec(bytes_.data()), 1);
  ASSERT_EQ(record_.Attach("other-D4", 4), 1);
  EXPECT_EQ(record_.SetFieldValueByName("other", "x"), 0) << "a new schema forgets the record";
  for (const char* schema : {"broken", "", kSchema}) {
    EXPECT_EQ(record_.Attach(schema, kLength - 1), 0);
    EXPECT_EQ(record_.IsValid(), 0) << "an invalid schema removes the former one";
    EXPECT_EQ(record_.SetWrkRec(bytes_.data()), 0);
  }
}

TEST_F(CtreeRecord, CopiesOwnTheirSchema) {
  auto original = std::make_unique<CTVLCtreeRecord>(record_);
  CTVLCtreeRecord copy(*original);
  record_ = *original;
  const CTVLCtreeRecord& self = record_;
  record_ = self;
  original.reset();
  for (CTVLCtreeRecord* each : {&copy, &record_}) {
    EXPECT_EQ(each->IsValid(), 1);
    EXPECT_EQ(each->SetFieldValueByName("name", "x"), 0) << "a copy has no record";
    each->SetWrkRec(bytes_.data());
    EXPECT_EQ(each->SetFieldValueByName("name", "mine"), 1);
  }
}

// The table engine's programs read fields into the start of the very record.
TEST(Field, MayBeCopiedIntoItsRecord) {
  unsigned char record[] = "abcdefgh\x8C\xA2ijk";
  const _format_ text = {"T", 'D', 6, 0, 6, 2};
  const _format_ number = {"N", 'F', 4, 0, 2, 8};
  auto* start = reinterpret_cast<char*>(record);
  EXPECT_TRUE(tvl::GetField(number, record, start, 5));
  EXPECT_STREQ(start, "1234");
  std::memcpy(record, "abcdefgh", 8);
  EXPECT_TRUE(tvl::GetField(text, record, start, 7));
  EXPECT_STREQ(start, "cdefgh");
}

}  // namespace
