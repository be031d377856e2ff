#include "platform/files.h"

#include <string_view>

#include "base/file_helpers.h"
#include "base/low_file.h"
#include "platform/host_path.h"
#include "support/testing.h"

namespace {

TEST(Attributes, DistinguishFilesFoldersAndLinks) {
  TVL_SKIP_WITHOUT_LINKS();
  const TempFolder folder;
  folder.Write("file", "12345");
  folder.Make("dir");
  fs::create_symlink("file", folder.Host("to_file"));
  fs::create_symlink("dir", folder.Host("to_dir"));
  fs::create_symlink("nowhere", folder.Host("dangling"));
  fs::create_symlink("loop", folder.Host("loop"));
  const struct {
    const char* name;
    DWORD attributes;
    int exists, is_directory, length;
  } cases[] = {
      {"file", 0x80, 1, 0, 5},
      {"dir", 0x10, 1, 1, 0},
      {"dir\\", 0x10, 1, 1, 0},
      {"to_file", 0x480, 1, 0, 5},
      {"to_dir", 0x410, 1, 1, 0},
      {"dangling", 0x400, 1, 0, 0},
      {"loop", 0x400, 1, 0, 0},
      {"none", 0xFFFFFFFF, 0, 0, 0},
      {"file\\", 0xFFFFFFFF, 0, 0, 0},
      {"file/x", 0xFFFFFFFF, 0, 0, 0},
      {"none/../file", 0xFFFFFFFF, 0, 0, 0},
  };
  for (const auto& row : cases) {
    const string path = folder.Logical() + "\\" + row.name;
    EXPECT_EQ(GetFileAttributesA(path.c_str()), row.attributes) << row.name;
    EXPECT_EQ(FileExists(path.c_str()), row.exists) << row.name;
    EXPECT_EQ(IsDirectory(path.c_str()), row.is_directory) << row.name;
    EXPECT_EQ(FileLength(path.c_str()), row.length) << row.name;
  }
  EXPECT_EQ(FileExists(""), 0);
}

TEST(LowOpen, FollowsItsFlags) {
  const TempFolder folder;
  const struct {
    int flags;
    bool exists;
    const char* contents;  // after a write of "X" if the flags allow it; null if it cannot be opened
  } cases[] = {
      {0, false, nullptr},
      {0, true, "old"},
      {kLowReadWrite, false, nullptr},
      {kLowReadWrite, true, "Xld"},
      {kLowWriteOnly, true, "Xld"},
      {kLowCreate, false, ""},
      {kLowCreate, true, "old"},
      {kLowCreate | kLowReadWrite, true, "Xld"},
      {kLowTruncate, true, ""},
      {kLowTruncate | kLowReadWrite, false, "X"},
      {kLowRewrite, false, "X"},
      {kLowRewrite, true, "X"},
      {kLowReadWrite | kLowAppend, true, "oldX"},
      {kLowRewrite | kLowAppend, true, "X"},
  };
  for (const auto& row : cases) {
    fs::remove(folder.Host("f"));
    if (row.exists) folder.Write("f", "old");
    tvl::LowFile file(folder.Logical("f").c_str(), row.flags);
    ASSERT_EQ(file.IsOpen(), row.contents != nullptr) << row.flags;
    if (!file.IsOpen()) continue;
    char x[] = "X";
    if ((row.flags & (kLowReadWrite | kLowWriteOnly)) != 0) LowWrite(file.Handle(), x, 1);
    EXPECT_TRUE(file.Close());
    EXPECT_EQ(folder.Read("f"), row.contents) << row.flags;
  }
}

// The length of a drive, such as "C:", with which full paths may begin.
std::size_t DriveLength(const string& path) {
  return path.size() > 1 && path[1] == ':' ? 2 : 0;
}

// Returns the full path without its drive.
string FullPath(const string& path) {
  char buffer[tvl::kMaxPath] = "old";
  const unsigned int length = GetFullPathNameA(path.c_str(), sizeof buffer, buffer, nullptr);
  EXPECT_EQ(length, std::string_view(buffer).size());
  return buffer + DriveLength(buffer);
}

TEST(FullPath, ResolvesDotsAndSeparators) {
  const std::pair<const char*, const char*> cases[] = {
      {"/a/b", "\\a\\b"},
      {"/a//b\\\\c///", "\\a\\b\\c\\"},
      {"/a/./b/.", "\\a\\b"},
      {"/a/b/../../../../c", "\\c"},
      {"/..", "\\"},
      {"/", "\\"},
      {"/a/b/..\\", "\\a\\"},
      {"/.a/..b/...c", "\\.a\\..b\\...c"},
      {"/a b/\xE0", "\\a b\\\xE0"},
  };
  for (const auto& [path, expected] : cases) EXPECT_EQ(FullPath(path), expected) << path;
}

TEST(FullPath, StartsAtCurrentFolderForRelativeName) {
  const TempFolder folder;
  const fs::path before = fs::current_path();
  const auto below = [&](const char* name) {
    const string path = folder.Logical(name);
    return path.substr(DriveLength(path));
  };
  folder.Make("sub");
  fs::current_path(folder.Host("sub"));
  EXPECT_EQ(FullPath("x"), below("sub/x"));
  EXPECT_EQ(FullPath(".\\"), below("sub/"));
  EXPECT_EQ(FullPath("..\\y/"), below("y/"));
  EXPECT_EQ(FullPath("../../../../../../../.."), "\\");
  EXPECT_EQ(FullPath(""), "");
  fs::current_path(before);
}

TEST(FullPath, FailsWhereCurrentFolderHasNoName) {
  if (!kHasAllNames) GTEST_SKIP() << "this system has no such folders";
  const TempFolder folder;
  const fs::path before = fs::current_path();
  for (const char* name : {"with\\backslash", "gone"}) folder.Make(name);
  fs::current_path(folder.Host("with\\backslash"));
  EXPECT_EQ(FullPath("x"), "") << "there is no way to write it";
  EXPECT_EQ(FullPath("/x"), "\\x");
  fs::current_path(folder.Host("gone"));
  fs::remove(folder.Host("gone"));
  EXPECT_EQ(FullPath("x"), "");
  fs::current_path(before);
}

TEST(FullPath, ReturnsRequiredSize) {
  char buffer[tvl::kMaxPath];
  GetFullPathNameA("/", sizeof buffer, buffer, nullptr);
  const std::size_t drive = DriveLength(buffer);
  for (const std::size_t length : {259U, 260U, 30000U}) {
    string path(length - drive, 'x');
    for (std::size_t at = 0; at < path.size(); at += 100) path[at] = '/';
    const unsigned int result = GetFullPathNameA(path.c_str(), sizeof buffer, buffer, nullptr);
    // A system with drives may fail instead.
    EXPECT_TRUE(result == (length < 260 ? length : length + 1) || (drive > 0 && length >= 260 && result == 0))
        << length;
    EXPECT_EQ(string(buffer).size(), length < 260 ? length : 0);
  }
  char none = '#';
  EXPECT_EQ(GetFullPathNameA("/a", 0, &none, nullptr), 3U + drive);
  EXPECT_EQ(none, '#');
}

}  // namespace
