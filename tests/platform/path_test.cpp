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

// Runs a test in a folder and goes back.
class InFolder {
 public:
  explicit InFolder(const string& folder) : before_(std::filesystem::current_path()) {
    std::filesystem::current_path(folder);
  }
  ~InFolder() { std::filesystem::current_path(before_); }
  InFolder(const InFolder&) = delete;
  InFolder& operator=(const InFolder&) = delete;

 private:
  std::filesystem::path before_;
};

string FullPath(const string& path) {
  char buffer[tvl::kMaxPath];
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
      {"/a/../b", "\\b"},
      {"/a/b/../../../../c", "\\c"},
      {"/..", "\\"},
      {"/", "\\"},
      {"\\\\\\", "\\"},
      {"/a/..", "\\"},
      {"/a/b/..\\", "\\a\\"},
      {"/.a/..b/...", "\\.a\\..b\\..."},
      {"/a b/\xE0", "\\a b\\\xE0"},
  };
  for (const auto& row : cases) EXPECT_EQ(FullPath(row.path), row.expected) << row.path;
}

TEST(FullPath, OfARelativeNameStartsAtTheCurrentFolder) {
  const TempFolder folder;
  folder.Make("sub");
  const InFolder there(folder.Host("sub"));
  EXPECT_EQ(FullPath("x"), folder.Logical("sub/x"));
  EXPECT_EQ(FullPath("."), folder.Logical("sub"));
  EXPECT_EQ(FullPath(".\\"), folder.Logical("sub/"));
  EXPECT_EQ(FullPath("..\\y/"), folder.Logical("y/"));
  EXPECT_EQ(FullPath("../../../../../../../.."), "\\");
}

TEST(FullPath, FailsWhereThereIsNoWayToWriteIt) {
  const TempFolder folder;
  folder.Make("with\\backslash");
  folder.Make("gone");
  char buffer[tvl::kMaxPath] = "old";
  EXPECT_EQ(GetFullPathNameA("", sizeof buffer, buffer, nullptr), 0U);
  EXPECT_STREQ(buffer, "");
  {
    const InFolder there(folder.Host("with\\backslash"));
    EXPECT_EQ(GetFullPathNameA("x", sizeof buffer, buffer, nullptr), 0U);
    EXPECT_EQ(FullPath("/x"), "\\x");
  }
  const InFolder there(folder.Host("gone"));
  std::filesystem::remove(folder.Host("gone"));
  EXPECT_EQ(GetFullPathNameA("x", sizeof buffer, buffer, nullptr), 0U);
}

TEST(FullPath, SaysHowMuchRoomItNeeds) {
  for (const std::size_t length : {258U, 259U, 260U, 261U, 4096U, 100000U}) {
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
  EXPECT_STREQ(tvl::HostPath("").Text(), "");
  for (const std::size_t length : {4095U, 4096U, 5000U, 1000000U}) {
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
