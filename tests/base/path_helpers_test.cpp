#include "base/path_helpers.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/arg.h"
#include "support/temp_folder.h"

namespace {

using std::string;

TEST(PathTexts, TrailingBackslash) {
  const struct {
    string text;
    string expected;
    int result;
  } cases[] = {
      {"", "\\", 1},
      {"a", "a\\", 1},
      {"a\\", "a\\", 1},
      {"a/", "a/\\", 1},
      {string(258, 'x'), string(258, 'x') + "\\", 1},
      {string(259, 'x'), string(259, 'x'), 0},
      {string(258, 'x') + "\\", string(258, 'x') + "\\", 1},
  };
  for (const auto& row : cases) {
    Arg path(row.text);
    EXPECT_EQ(AddTrailingBackslash(path), row.result);
    EXPECT_STREQ(path, row.expected.c_str());
  }
}

TEST(PathTexts, LastComponent) {
  const struct {
    const char* path;
    const char* expected;
  } cases[] = {{"a/b\\c", "c"}, {"a\\b/c", "b/c"}, {"a/b", "b"}, {"a\\", ""},
               {"\\", ""},      {"abc", nullptr},  {"", nullptr}};
  for (const auto& row : cases) EXPECT_STREQ(LastPathComponent(row.path), row.expected) << row.path;
}

TEST(PathTexts, SlashesTurn) {
  Arg path("/a//b\\c/");
  EXPECT_EQ(NormalizeSlashes(path), static_cast<char*>(path));
  EXPECT_STREQ(path, "\\a\\\\b\\c\\");
}

TEST(BuildPath, MakesTheFoldersOnTheWay) {
  const struct {
    const char* path;
    const char* full;  // behind the base and its backslash
    std::vector<string> made;
  } cases[] = {
      {"a/b/c.txt", "a\\b\\c.txt", {"a", "a/b"}},
      {"\\a\\\\b\\c.txt", "a\\b\\c.txt", {"a", "a/b"}},
      {"///a///b", "a\\b", {"a"}},
      {"c.txt", "c.txt", {}},
      {"", "", {}},
      {"\\", "", {}},
      {"\\//\\", "", {}},
      {"a\\", "a\\", {"a"}},
      {"a\\b\\\\", "a\\b\\", {"a", "a/b"}},
      {"x/../y", "x\\..\\y", {"x"}},
      {".\\y", ".\\y", {}},
  };
  for (const char* end : {"", "\\"}) {
    for (const auto& row : cases) {
      const TempFolder folder;
      Arg path(row.path);
      EXPECT_EQ(BuildPath((folder.Logical() + end).c_str(), path), static_cast<char*>(path));
      EXPECT_EQ(string(path), folder.Logical() + "\\" + row.full);
      EXPECT_EQ(folder.Tree(), row.made) << row.path;
    }
  }
}

TEST(BuildPath, LeavesTheBaseByTwoPoints) {
  const TempFolder folder;
  folder.Make("base");
  Arg path("../out/f");
  EXPECT_EQ(string(BuildPath(folder.Logical("base").c_str(), path)), folder.Logical("base") + "\\..\\out\\f");
  EXPECT_EQ(folder.Tree(), (std::vector<string>{"base", "out"}));
}

TEST(BuildPath, PassesOverAFolderThatCannotBeMade) {
  const TempFolder folder;
  folder.Write("a", "a file");
  Arg path("a/b/c");
  EXPECT_NE(BuildPath(folder.Logical().c_str(), path), nullptr);
  EXPECT_EQ(folder.Tree(), std::vector<string>{"a"});
}

TEST(BuildPath, OfTooLongANameMakesNothing) {
  const TempFolder folder;
  const std::size_t room = tvl::kMaxPath - 1 - folder.Logical().size() - 1;
  for (const std::size_t length : {room - 1, room, room + 1, room + 2, std::size_t{260}, std::size_t{4096}}) {
    const string name = "a/" + string(length - 2, 'x');
    Arg path(name);
    const bool fits = length <= room;
    EXPECT_EQ(BuildPath(folder.Logical().c_str(), path) != nullptr, fits) << length;
    EXPECT_EQ(std::strlen(path), fits ? folder.Logical().size() + 1 + length : 0);
    EXPECT_EQ(folder.Exists("a"), fits) << length;
    std::filesystem::remove(folder.Host("a"));
  }
}

TEST(JoinPath, TurnsSlashesAndTellsWhetherItFits) {
  EXPECT_STREQ(tvl::JoinPath("\\r\\", "a/b").Text(), "\\r\\a\\b");
  const string base = "\\" + string(99, 'r');
  for (const std::size_t length : {159U, 160U, 161U, 5000U}) {
    EXPECT_EQ(tvl::JoinPath(base.c_str(), string(length, 'n').c_str()).Fits(), length < 160);
  }
}

}  // namespace
