#include "directory/table_keys.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Items = std::vector<std::string>;

TEST(ReadList, IsCutAtTheLongestKey) {
  const struct {
    std::string text;
    Items items;
  } cases[] = {
      {std::string(2000, 'x'), {std::string(1023, 'x')}},
      {std::string(1022, 'x') + "\1yy", {std::string(1022, 'x')}},
      {std::string(1021, 'x') + "\1yy", {std::string(1021, 'x'), "y"}},
  };
  for (const auto& test : cases) {
    tvl::ReadList list(test.text.c_str());
    Items items;
    for (auto item = list.Next(); !item.empty(); item = list.Next()) items.emplace_back(item);
    EXPECT_EQ(items, test.items);
  }
}

TEST(KeyStrcpy, CutsOrFillsUp) {
  const struct {
    const char* key;
    int length;
    const char* result;
  } cases[] = {{"ab", 4, "ab  "}, {"abcdef", 4, "abcd"}, {"a", 0, ""}};
  for (const auto& test : cases) {
    char destination[8] = "???????";
    EXPECT_EQ(KeyStrcpy(destination, test.key, test.length), destination);
    EXPECT_STREQ(destination, test.result);
    EXPECT_EQ(destination[test.length + 1], '?');
  }
  char untouched[4] = "?";
  EXPECT_EQ(KeyStrcpy(untouched, "", 3), nullptr);
  EXPECT_STREQ(untouched, "?");
}

}  // namespace
