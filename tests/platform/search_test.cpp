#include "platform/search.h"

#include <set>

#include "support/testing.h"

namespace {

using Names = std::set<string>;

// Returns the names that a search finds, without "." and "..", which are tested separately.
Names Find(const string& pattern) {
  Names names;
  WIN32_FIND_DATAA found = {};
  const HANDLE search = FindFirstFileA(pattern.c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return names;
  do {
    const string name = found.cFileName;
    const bool known = name == "." || name == ".." || names.insert(name).second;
    EXPECT_TRUE(known) << name << " came twice";
  } while (FindNextFileA(search, &found) != 0);
  FindClose(search);
  return names;
}

TEST(Search, MatchesPatterns) {
  const TempFolder folder;
  for (const char* name : {"a.txt", "B.TXT", "noext", ".dot", "a.b.c", "[x]", "sub/inner.txt"})
    folder.Write(name, "");
  if (kHasAllNames) folder.Write("back\\slash", "");
  // "back\\slash" is a name that no path can express.
  const Names all = {"a.txt", "B.TXT", "noext", ".dot", "a.b.c", "[x]", "sub"};
  const std::pair<const char*, Names> cases[] = {
      {"*.*", all},
      {"*", all},
      {"*.txt", {"a.txt", "B.TXT"}},
      {"*.T?t", {"a.txt", "B.TXT"}},
      {"a*", {"a.txt", "a.b.c"}},
      {"*.c", {"a.b.c"}},
      {"*.b.*", {"a.b.c"}},
      {"NOEXT", {"noext"}},
      {"?????", {"a.txt", "B.TXT", "noext", "a.b.c"}},
      {"[x]", {"[x]"}},
      {"", {}},
      {"sub\\*.*", {"inner.txt"}},
      {"missing\\*", {}},
      {"a.txt\\*", {}},
  };
  for (const auto& [pattern, expected] : cases)
    EXPECT_EQ(Find(folder.Logical() + "\\" + pattern), expected) << pattern;
}

// Matching a pattern with many stars costs no more than the product of the lengths of name and pattern.
TEST(Search, TerminatesOnPatternsWithManyStars) {
  const TempFolder folder;
  folder.Write(string(250, 'a'), "");
  string pattern;
  for (int i = 0; i < 60; ++i) pattern += "a*";
  EXPECT_EQ(Find(folder.Logical(pattern + "b")).size(), 0U);
  EXPECT_EQ(Find(folder.Logical(pattern)).size(), 1U);
}

TEST(Search, OmitsLinksToParentFolders) {
  TVL_SKIP_WITHOUT_LINKS();
  const TempFolder folder;
  folder.Make("top/mid/low");
  folder.Make("other");
  folder.Write("top/mid/low/file", "");
  for (const auto& [name, target] : {std::pair{"to_itself", "."},
                                     {"to_parent", ".."},
                                     {"to_top", "/"},
                                     {"to_child", "low"},
                                     {"to_other", "../../other"},
                                     {"to_file", "low/file"},
                                     {"dangling", "nowhere"}})
    fs::create_symlink(target, folder.Host("top/mid/") + name);
  EXPECT_EQ(Find(folder.Logical("top/mid/*.*")),
            (Names{"low", "to_child", "to_other", "to_file", "dangling"}));
}

// Counts the entries below a folder. Stops if there are many, as in an endless walk.
int CountByWalk(const string& path, int count = 0) {
  for (const string& name : Find(path + "\\*.*")) {
    if (++count > 1000) break;
    count = CountByWalk(string(path).append("\\").append(name), count);
  }
  return count;
}

// Neither folder is a parent of the other, so their parents do not show the loop.
TEST(Search, WalkOfFoldersThatLinkToEachOtherEnds) {
  TVL_SKIP_WITHOUT_LINKS();
  const TempFolder folder;
  folder.Make("a");
  folder.Make("b");
  for (const char* name : {"one", "two"}) {
    fs::create_symlink("../b", folder.Host("a/") + name);
    fs::create_symlink("../a", folder.Host("b/") + name);
  }
  EXPECT_LT(CountByWalk(folder.Logical("a")), 20);
}

}  // namespace
