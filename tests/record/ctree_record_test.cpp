#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>

#include <tvlclient/record.h>

#include "record/field.h"

namespace {

constexpr char kSchema[] = "name-D8 total-F7.2 count-F5 note-D4";
constexpr int kLength = 20;  // 8 + 5 + 3 + 4

class CtreeRecord : public testing::Test {
 protected:
  void SetUp() override {
    std::memset(bytes_, ' ', sizeof bytes_);
    ASSERT_EQ(record_.Attach(kSchema, kLength), 1);
    ASSERT_EQ(record_.SetWrkRec(bytes_), 1);
  }

  std::string Get(const char* name) {
    char text[256] = "untouched";
    record_.GetFieldValueByName(name, text);
    return text;
  }

  CTVLCtreeRecord record_;
  char bytes_[kLength + 1];
};

TEST_F(CtreeRecord, StoresTexts) {
  const struct {
    const char* given;
    const char* stored;
    const char* read;
  } cases[] = {
      {"long", "long    ", "long"}, {"longer than 8", "longer t", "longer t"},
      {"", "        ", ""},         {" x", " x      ", " x"},
      {"a b  ", "a b     ", "a b"},
  };
  for (const auto& [given, stored, read] : cases) {
    EXPECT_EQ(record_.SetFieldValueByName("NAME", given), 1);
    EXPECT_EQ(std::string(bytes_, 8), stored);
    EXPECT_EQ(Get("name"), read);
  }
  EXPECT_EQ(bytes_[8], ' ') << "the next field is another's";
}

TEST_F(CtreeRecord, StoresNumbers) {
  EXPECT_EQ(Get("total"), "0");
  EXPECT_EQ(static_cast<unsigned char>(bytes_[8]), 0xE4) << "a blank number becomes a zero in the record";
  EXPECT_EQ(record_.SetFieldValueByIdx(1, "-12345.67"), 1);
  EXPECT_EQ(Get("total"), "-12345.67");
  EXPECT_EQ(record_.GetIntFieldValueByName("total"), -12345);
  EXPECT_EQ(record_.SetIntFieldValueByIdx(2, 12345), 1);
  EXPECT_EQ(record_.GetIntFieldValueByName("COUNT"), 12345);
  EXPECT_EQ(record_.SetIntFieldValueByName("count", INT_MIN), 0) << "doesn't fit";
  EXPECT_EQ(record_.GetIntFieldValueByName("count"), 12345);
  EXPECT_EQ(record_.SetFieldValueByName("count", "1.5"), 1);
  char text[16];
  EXPECT_EQ(record_.GetFieldValueByName("count", text), 0) << "the schema gives no decimals";
  EXPECT_STREQ(text, "0");
  EXPECT_EQ(record_.GetIntFieldValueByName("count"), 0);
}

TEST_F(CtreeRecord, ReadsWholeNumbersFromTexts) {
  const struct {
    const char* text;
    int value;
  } cases[] = {{"12abc", 12}, {"-7", -7}, {"  8", 8}, {"+9", 9}, {"none", 0}, {"", 0}};
  for (const auto& [text, value] : cases) {
    record_.SetFieldValueByName("name", text);
    EXPECT_EQ(record_.GetIntFieldValueByName("name"), value) << text;
  }
  CTVLCtreeRecord wide;
  char digits[200];
  std::memset(digits, '9', sizeof digits);
  ASSERT_EQ(wide.Attach("a-D200", 200), 1);
  wide.SetWrkRec(digits);
  EXPECT_EQ(wide.GetIntFieldValueByName("a"), INT_MAX);
  digits[0] = '-';
  EXPECT_EQ(wide.GetIntFieldValueByName("a"), INT_MIN);
}

TEST_F(CtreeRecord, RefusesUnknownFields) {
  char text[16] = "untouched";
  for (const int index : {-1, 4, INT_MAX, INT_MIN}) {
    EXPECT_EQ(record_.GetFieldValueByIdx(index, text), 0);
    EXPECT_EQ(record_.SetFieldValueByIdx(index, "x"), 0);
    EXPECT_EQ(record_.SetIntFieldValueByIdx(index, 1), 0);
  }
  EXPECT_EQ(record_.GetFieldValueByName("nam", text), 0);
  EXPECT_EQ(record_.SetFieldValueByName("names", "x"), 0);
  EXPECT_EQ(record_.GetIntFieldValueByName("other"), 0);
  EXPECT_STREQ(text, "untouched");
  EXPECT_EQ(std::string(bytes_, kLength), std::string(kLength, ' '));
}

TEST(CtreeRecordLife, WorksOnlyWithSchemaAndRecord) {
  char bytes[kLength];
  char text[16] = "untouched";
  CTVLCtreeRecord record;
  EXPECT_EQ(record.IsValid(), 0);
  EXPECT_EQ(record.SetWrkRec(bytes), 0);
  EXPECT_EQ(record.Attach("", kLength), 0);
  EXPECT_EQ(record.Attach(kSchema, kLength - 1), 0);
  EXPECT_EQ(record.IsValid(), 0);

  ASSERT_EQ(record.Attach(kSchema, kLength), 1);
  EXPECT_EQ(record.IsValid(), 1);
  EXPECT_EQ(record.GetFieldValueByName("name", text), 0);
  EXPECT_STREQ(text, "") << "without a record a read empties the destination";
  EXPECT_EQ(record.SetFieldValueByName("name", "x"), 0);
  EXPECT_EQ(record.GetIntFieldValueByName("count"), 0);

  EXPECT_EQ(record.SetWrkRec(bytes), 1);
  EXPECT_EQ(record.SetWrkRec(nullptr), 0);
  EXPECT_EQ(record.SetFieldValueByName("name", "x"), 0) << "null takes the record away";

  record.SetWrkRec(bytes);
  ASSERT_EQ(record.Attach("other-D4", 4), 1);
  EXPECT_EQ(record.SetFieldValueByName("other", "x"), 0) << "a new schema forgets the record";
  EXPECT_EQ(record.Attach("broken", 4), 0);
  EXPECT_EQ(record.IsValid(), 0) << "a schema that fails takes the former one along";
}

TEST(CtreeRecordLife, CopiesOwnTheirSchema) {
  char bytes[kLength] = {};
  auto* original = new CTVLCtreeRecord;
  ASSERT_EQ(original->Attach(kSchema, kLength), 1);
  original->SetWrkRec(bytes);
  CTVLCtreeRecord copy(*original);
  CTVLCtreeRecord assigned;
  ASSERT_EQ(assigned.Attach("other-D4", 4), 1);
  assigned = *original;
  const CTVLCtreeRecord& self = assigned;
  assigned = self;
  delete original;
  for (CTVLCtreeRecord* each : {&copy, &assigned}) {
    EXPECT_EQ(each->IsValid(), 1);
    EXPECT_EQ(each->SetFieldValueByName("name", "x"), 0) << "a copy has no record";
    each->SetWrkRec(bytes);
    EXPECT_EQ(each->SetFieldValueByName("name", "mine"), 1);
  }
  EXPECT_EQ(std::string(bytes, 8), "mine    ");
}

// The table engine's programs read fields into the start of the very record.
TEST(Field, MayLandOnTheRecord) {
  unsigned char record[13];
  std::memcpy(record, "abcdefgh\x8C\xA2ijk", sizeof record);
  const _format_ text = {"T", 'D', 6, 0, 6, 2};
  const _format_ number = {"N", 'F', 4, 0, 2, 8};
  auto* start = reinterpret_cast<char*>(record);
  EXPECT_TRUE(tvl::GetField(number, record, start, 5));
  EXPECT_STREQ(start, "1234");
  std::copy_n("abcdefgh", 8, record);
  EXPECT_TRUE(tvl::GetField(text, record, start, 7));
  EXPECT_STREQ(start, "cdefgh");
}

}  // namespace
