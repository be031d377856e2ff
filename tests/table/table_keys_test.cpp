#include "directory/table_keys.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using Items = std::vector<std::string>;

TEST(ReadList, ItemsStandBetweenOnes) {
  const struct {
    std::string text;
    Items items;
  } cases[] = {
      {"", {}},
      {"\x01\x01\x01", {}},
      {"a", {"a"}},
      {"\x01\x01"
       "a\x01\x01"
       "b \x01",
       {"a", "b "}},
      {std::string(2000, 'x'), {std::string(1023, 'x')}},
      {std::string(1022, 'x') + "\x01yy", {std::string(1022, 'x')}},
  };
  for (const auto& test : cases) {
    tvl::ReadList list(test.text.c_str());
    Items items;
    for (auto item = list.Next(); !item.empty(); item = list.Next()) items.emplace_back(item);
    EXPECT_EQ(items, test.items);
  }
}

TEST(DeleteList, EntriesAreTwoKeys) {
  using Entries = std::vector<std::pair<std::string, std::string>>;
  const struct {
    std::string text;
    Entries entries;
  } cases[] = {
      {"", {}},
      {"no entry", {}},
      {"a\x01", {{"a", ""}}},
      {"a\x01"
       "b",
       {{"a", "b"}}},
      {"a\x01"
       "b\x02",
       {{"a", "b"}}},
      {"\x01"
       "b\x02"
       "c\x01\x02",
       {{"", "b"}, {"c", ""}}},
      {"a\x01"
       "b\x02rest",
       {{"a", "b"}}},
      {"a\x01"
       "b\x01"
       "c\x02",
       {{"a",
         "b\x01"
         "c"}}},
  };
  for (auto test : cases) {
    char* list = test.text.data();
    tvl::DeleteEntry entry = {};
    Entries entries;
    while (tvl::TakeDeleteEntry(list, entry)) entries.emplace_back(entry.key1, entry.key2);
    EXPECT_EQ(entries, test.entries);
  }
}

TEST(KeyStrcpy, CutsOrFillsUp) {
  const struct {
    const char* key;
    int length;
    const char* result;
  } cases[] = {{"ab", 4, "ab  "}, {"abcd", 4, "abcd"}, {"abcdef", 4, "abcd"}, {"a", 0, ""}};
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
