#include "base/path_helpers.h"

#include "support/testing.h"

namespace {

TEST(PathTexts, TrailingBackslash) {
  const string most(258, 'x');
  const string full = most + "x";
  const std::pair<string, string> rows[] = {{"", "\\"},     {"a", "a\\"},        {"a\\", "a\\"},
                                            {"a/", "a/\\"}, {most, most + "\\"}, {most + "\\", most + "\\"},
                                            {full, full}};
  for (const auto& [text, expected] : rows) {
    Arg path(text);
    EXPECT_EQ(AddTrailingBackslash(path), text != full);
    EXPECT_EQ(string(path), expected);
  }
}

TEST(PathTexts, LastComponent) {
  const std::pair<const char*, const char*> rows[] = {{"a/b\\c", "c"}, {"a\\b/c", "b/c"}, {"a/b", "b"},
                                                      {"a\\", ""},     {"abc", nullptr},  {"", nullptr}};
  for (const auto& [path, expected] : rows) EXPECT_STREQ(LastPathComponent(path), expected) << path;
}

// The base contains a file "f".
TEST(BuildPath, CreatesMissingFolders) {
  const struct {
    const char* path;
    const char* full;  // after the base and its backslash
    std::vector<string> made;
  } rows[] = {
      {"a/b/c.txt", "a\\b\\c.txt", {"a", "a/b"}},
      {"\\a\\\\b\\c.txt", "a\\b\\c.txt", {"a", "a/b"}},
      {"c.txt", "c.txt", {}},
      {"", "", {}},
      {"\\//\\", "", {}},
      {"a\\b\\\\", "a\\b\\", {"a", "a/b"}},
      {"e/../y", "e\\..\\y", {"e"}},
      {"f/b/c", "f\\b\\c", {}},
  };
  for (const char* end : {"", "\\"}) {
    for (const auto& row : rows) {
      const TempFolder folder;
      folder.Write("f", "a file");
      Arg path(row.path);
      EXPECT_EQ(BuildPath((folder.Logical() + end).c_str(), path), static_cast<char*>(path));
      EXPECT_EQ(string(path), folder.Logical() + "\\" + row.full);
      fs::remove(folder.Host("f"));
      EXPECT_EQ(folder.Tree(), row.made) << row.path;
    }
  }
}

TEST(BuildPath, CreatesNothingForTooLongName) {
  const TempFolder folder;
  const std::size_t space = tvl::kMaxPath - 1 - folder.Logical().size() - 1;
  for (const std::size_t length : {space, space + 1, space + 2, std::size_t{260}, std::size_t{4096}}) {
    Arg path("a/" + string(length - 2, 'x'));
    const bool fits = length <= space;
    EXPECT_EQ(BuildPath(folder.Logical().c_str(), path) != nullptr, fits) << length;
    EXPECT_EQ(std::strlen(path), fits ? folder.Logical().size() + 1 + length : 0);
    EXPECT_EQ(folder.Exists("a"), fits) << length;
    fs::remove(folder.Host("a"));
  }
}

TEST(JoinPath, ConvertsSlashesAndReportsWhetherItFits) {
  EXPECT_STREQ(tvl::JoinPath("\\r\\", "a/b//c").Text(), "\\r\\a\\b\\\\c");
  const string base(100, 'r');
  for (const std::size_t length : {159U, 160U, 5000U})
    EXPECT_EQ(tvl::JoinPath(base.c_str(), string(length, 'n').c_str()).Fits(), length < 160);
}

}  // namespace
