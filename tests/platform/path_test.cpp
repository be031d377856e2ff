#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "platform/files.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
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
  const struct {
    const char* path;
    const char* expected;
  } cases[] = {
      {"/a/b", "\\a\\b"},
      {"\\a\\b\\", "\\a\\b\\"},
      {"/a//b\\\\c///", "\\a\\b\\c\\"},
      {"/a/./b/.", "\\a\\b"},
      {"/a/b/../../../../c", "\\c"},
      {"/..", "\\"},
      {"/", "\\"},
      {"/a/b/..\\", "\\a\\"},
      {"/.a/..b/...", "\\.a\\..b\\..."},
      {"/a b/\xE0", "\\a b\\\xE0"},
  };
  for (const auto& row : cases) EXPECT_EQ(FullPath(row.path), row.expected) << row.path;
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

TEST(NotedError, IsTakenOnceAndItsPathCut) {
  tvl::TakeLastError();
  string path(5000, 'x');
  path[0] = '/';
  EXPECT_EQ(GetFileAttributesA(path.c_str()), INVALID_FILE_ATTRIBUTES);
  const tvl::LastError error = tvl::TakeLastError();
  EXPECT_EQ(error.code, ENAMETOOLONG);
  EXPECT_EQ(string(error.path), path.substr(0, sizeof error.path - 1));
  EXPECT_EQ(tvl::TakeLastError().code, 0);
}

}  // namespace
