#include "record/schema.h"

#include <climits>

#include "support/testing.h"

namespace {

std::vector<_format_> Parse(const string& schema, int recordLength) {
  std::vector<_format_> fields(tvl::CountFields(schema.c_str()));
  if (!tvl::ParseSchema(schema.c_str(), recordLength, fields)) fields.clear();
  return fields;
}

TEST(Schema, ComputesFieldSizes) {
  const std::tuple<const char*, char, int, int, int> rows[] = {
      {"a-D5", 'D', 5, 0, 5},     {"a-d5.3", 'D', 5, 3, 5}, {"a-F1", 'F', 1, 0, 1},   {"a-F4", 'F', 4, 0, 2},
      {"a-f5", 'F', 5, 0, 3},     {"a-F3.1", 'F', 3, 1, 3}, {"a-F5.2", 'F', 5, 2, 4}, {"a-F5.", 'F', 5, 0, 3},
      {"a-F5.2.9", 'F', 5, 2, 4}, {"a-D", 'D', 0, 0, 0},    {"a-D7x", 'D', 7, 0, 7},  {"-D3", 'D', 3, 0, 3}};
  for (const auto& [token, type, length, decimals, size] : rows) {
    const auto fields = Parse(token, 10);
    ASSERT_EQ(fields.size(), 1U) << token;
    const _format_& field = fields[0];
    EXPECT_EQ(std::tie(field.type, field.length, field.decimals, field.size),
              std::tie(type, length, decimals, size))
        << token;
  }
}

TEST(Schema, RefusesInvalidDescriptions) {
  const std::tuple<const char*, int, std::size_t> rows[] = {
      {"", 10, 0},       {"   ", 10, 0},     {" a-D5  b-D5 ", 10, 2}, {"a-D5 b-D6", 10, 0},
      {"a-D5 b", 10, 0}, {"a-D5 b-", 10, 0}, {"a-X5", 10, 0},         {"a-D5\tb-D5", 10, 1},
      {"a-D-5", 10, 0},  {"a-F9.-9", 10, 0}, {"a-D1", -1, 0}};
  for (const auto& [schema, recordLength, fields] : rows)
    EXPECT_EQ(Parse(schema, recordLength).size(), fields) << schema;
  EXPECT_EQ(Parse("a-D99999999999", INT_MAX).size(), 1U) << "the largest int";
  EXPECT_TRUE(Parse("a-D2147483647 b-D2147483647", INT_MAX).empty());
  EXPECT_TRUE(Parse("a-F2147483647.2147483647", INT_MAX).empty());
  for (const std::size_t length : {63U, 64U})
    EXPECT_EQ(Parse(string(length, 'n') + "-D1", 10).size(), 64 - length) << "a name";
  for (const std::size_t length : {127U, 128U})
    EXPECT_EQ(Parse("a-D1." + string(length - 5, '0'), 10).size(), 128 - length) << "a whole field";
}

TEST(Schema, PlacesFieldsAndFindsThemInAnyCase) {
  const auto fields = Parse("Abc-D1 ab-F5 ABC-D1 x\xe0-D1", 10);
  ASSERT_EQ(fields.size(), 4U);
  EXPECT_EQ(fields[3].offset, 5);
  EXPECT_STREQ(fields[1].name, "AB");
  EXPECT_EQ(tvl::FindField(fields, "aBC"), &fields[0]);
  EXPECT_EQ(tvl::FindField(fields, "AB"), &fields[1]);
  EXPECT_EQ(tvl::FindField(fields, "X\xe0"), &fields[3]);
  for (const char* other : {"", "a", "abcd"}) EXPECT_EQ(tvl::FindField(fields, other), nullptr) << other;
}

}  // namespace
