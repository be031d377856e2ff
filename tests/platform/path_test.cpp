#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

#include "platform/files.h"
#include "platform/host_path.h"
#include "support/temp_folder.h"

namespace {

using std::string;

string FullPath(const string& path) {
  char buffer[tvl::kMaxPath] = "old";
  const unsigned int length = GetFullPathNameA(path.c_str(), sizeof buffer, buffer, nullptr);
  EXPECT_EQ(length, std::string_view(buffer).size());
  return buffer;
}

TEST(FullPath, IsFolded) {
  const std::pair<const char*, const char*> cases[] = {
      {"/a/b", "\\a\\b"},
      {"/a//b\\\\c///", "\\a\\b\\c\\"},
      {"/a/./b/.", "\\a\\b"},
      {"/a/b/../../../../c", "\\c"},
      {"/..", "\\"},
      {"/", "\\"},
      {"/a/b/..\\", "\\a\\"},
      {"/.a/..b/...", "\\.a\\..b\\..."},
      {"/a b/\xE0", "\\a b\\\xE0"},
  };
  for (const auto& [path, expected] : cases) EXPECT_EQ(FullPath(path), expected) << path;
}

TEST(FullPath, OfARelativeNameStartsAtTheCurrentFolder) {
  namespace fs = std::filesystem;
  const TempFolder folder;
  const fs::path before = fs::current_path();
  for (const char* name : {"sub", "with\\backslash", "gone"}) folder.Make(name);
  fs::current_path(folder.Host("sub"));
  EXPECT_EQ(FullPath("x"), folder.Logical("sub/x"));
  EXPECT_EQ(FullPath(".\\"), folder.Logical("sub/"));
  EXPECT_EQ(FullPath("..\\y/"), folder.Logical("y/"));
  EXPECT_EQ(FullPath("../../../../../../../.."), "\\");
  fs::current_path(folder.Host("with\\backslash"));
  EXPECT_EQ(FullPath("x"), "") << "there is no way to write it";
  EXPECT_EQ(FullPath("/x"), "\\x");
  fs::current_path(folder.Host("gone"));
  fs::remove(folder.Host("gone"));
  EXPECT_EQ(FullPath("x"), "");
  EXPECT_EQ(FullPath(""), "");
  fs::current_path(before);
}

TEST(FullPath, SaysHowMuchRoomItNeeds) {
  for (const std::size_t length : {259U, 260U, 100000U}) {
    string path(length, 'x');
    path[0] = '/';
    char buffer[tvl::kMaxPath];
    const unsigned int result = GetFullPathNameA(path.c_str(), sizeof buffer, buffer, nullptr);
    EXPECT_EQ(result, length < 260 ? length : length + 1);
    EXPECT_EQ(string(buffer).size(), length < 260 ? length : 0);
  }
  char none = '#';
  EXPECT_EQ(GetFullPathNameA("/a", 0, &none, nullptr), 3U);
  EXPECT_EQ(none, '#');
}

TEST(HostPathText, TurnsSeparatorsAndNeverNamesAnotherFile) {
  EXPECT_STREQ(tvl::HostPath("\\a/b\\").Text(), "/a/b/");
  for (const std::size_t length : {4095U, 4096U, 1000000U}) {
    // Slashes count for nothing to the system, so that a path that was cut too early would be the root.
    const string path(length, '\\');
    const bool exists = GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
    EXPECT_EQ(exists, length <= 4095) << length;
  }
}

}  // namespace
