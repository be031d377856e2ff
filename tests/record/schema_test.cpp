#include "record/schema.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::vector<_format_> Parse(const std::string& schema, int recordLength) {
  std::vector<_format_> fields(tvl::CountFields(schema.c_str()));
  if (!tvl::ParseSchema(schema.c_str(), recordLength, fields)) fields.clear();
  return fields;
}

TEST(Schema, PlacesTheFieldsOfTheLockTable) {
  const auto fields =
      Parse("id-D2 object-D32 computer-D32 ipaddr-D8 class-D4 instance-D4 pid-D8 username-D64", 154);
  const int offsets[] = {0, 2, 34, 66, 74, 78, 82, 90};
  ASSERT_EQ(fields.size(), std::size(offsets));
  for (std::size_t i = 0; i < fields.size(); ++i) EXPECT_EQ(fields[i].offset, offsets[i]) << i;
  EXPECT_STREQ(fields[7].name, "USERNAME");
  EXPECT_EQ(fields[7].size, 64);
}

TEST(Schema, SizesAField) {
  const struct {
    const char* token;
    char type;
    int length;
    int decimals;
    int size;
  } cases[] = {
      {"a-D5", 'D', 5, 0, 5},     {"a-d5.3", 'D', 5, 3, 5}, {"a-F1", 'F', 1, 0, 1},   {"a-F4", 'F', 4, 0, 2},
      {"a-f5", 'F', 5, 0, 3},     {"a-F3.1", 'F', 3, 1, 3}, {"a-F5.2", 'F', 5, 2, 4}, {"a-F5.", 'F', 5, 0, 3},
      {"a-F5.2.9", 'F', 5, 2, 4}, {"a-D", 'D', 0, 0, 0},    {"a-Dxyz", 'D', 0, 0, 0}, {"a-D7x", 'D', 7, 0, 7},
      {"a-F", 'F', 0, 0, 0},      {"-D3", 'D', 3, 0, 3},    {"a-F.2", 'F', 0, 2, 2},
  };
  for (const auto& [token, type, length, decimals, size] : cases) {
    const auto fields = Parse(token, 10);
    ASSERT_EQ(fields.size(), 1U) << token;
    EXPECT_EQ(fields[0].type, type) << token;
    EXPECT_EQ(fields[0].length, length) << token;
    EXPECT_EQ(fields[0].decimals, decimals) << token;
    EXPECT_EQ(fields[0].size, size) << token;
  }
}

TEST(Schema, RefusesWhatItCannotRead) {
  const std::string name63(63, 'n');
  const struct {
    std::string schema;
    int recordLength;
    bool valid;
  } cases[] = {
      {"", 10, false},
      {"   ", 10, false},
      {"  a-D5   b-D5  ", 10, true},
      {"a-D5 b-D6", 10, false},
      {"a-D5 b", 10, false},
      {"a-D5 b-", 10, false},
      {"a-X5", 10, false},
      {"a-5", 10, false},
      {"a-D5\tb-D5", 10, true},  // only blanks separate: one field of 5
      {"a-D-5", 10, false},
      {"a-F9.-9", 10, false},
      {"a-D99999999999", 2147483647, true},  // the largest int
      {"a-D2147483647 b-D2147483647", 2147483647, false},
      {"a-F2147483647.2147483647", 2147483647, false},
      {"a-D1", -1, false},
      {name63 + "-D1", 10, true},
      {name63 + "n-D1", 10, false},
      {"a-D1." + std::string(122, '0'), 10, true},
      {"a-D1." + std::string(123, '0'), 10, false},
  };
  for (const auto& [schema, recordLength, valid] : cases) {
    EXPECT_EQ(!Parse(schema, recordLength).empty(), valid) << schema;
  }
}

TEST(Schema, FindsAFieldInAnyCase) {
  const auto fields = Parse("Abc-D1 ab-D1 ABC-D1 x\xe0-D1", 10);
  ASSERT_EQ(fields.size(), 4U);
  EXPECT_EQ(tvl::FindField(fields, "aBC"), &fields[0]);
  EXPECT_EQ(tvl::FindField(fields, "AB"), &fields[1]);
  EXPECT_EQ(tvl::FindField(fields, "X\xe0"), &fields[3]);
  for (const char* other : {"", "a", "abcd", "abc-"})
    EXPECT_EQ(tvl::FindField(fields, other), nullptr) << other;
}

}  // namespace
