#include "platform/files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "base/file_helpers.h"
#include "base/low_file.h"
#include "support/faults.h"
#include "support/temp_folder.h"

namespace {

using std::string;

TEST(Attributes, TellFilesFoldersAndLinks) {
  const TempFolder folder;
  folder.Write("file", "12345");
  folder.Make("dir");
  std::filesystem::create_symlink("file", folder.Host("to_file"));
  std::filesystem::create_symlink("dir", folder.Host("to_dir"));
  std::filesystem::create_symlink("nowhere", folder.Host("dangling"));
  std::filesystem::create_symlink("loop", folder.Host("loop"));
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

TEST(Status, HasAllBitsOfASizeAndWholeSeconds) {
  const TempFolder folder;
  folder.Write("big", "");
  ASSERT_EQ(truncate(folder.Host("big").c_str(), 0x1C0000005), 0);
  const timespec times[2] = {{1, 0}, {-5, 999999999}};
  ASSERT_EQ(utimensat(AT_FDCWD, folder.Host("big").c_str(), times, 0), 0);
  FileStatus status = {};
  ASSERT_EQ(_stat64i32(folder.Logical("big").c_str(), &status), 0);
  EXPECT_EQ(status.size, 0x1C0000005U);
  EXPECT_EQ(status.modified, -5);
  EXPECT_EQ(FileLength(folder.Logical("big").c_str()), static_cast<int>(0xC0000005));
  EXPECT_EQ(_stat64i32(folder.Logical("none").c_str(), &status), -1);
  ASSERT_EQ(_stat64i32(folder.Logical().c_str(), &status), 0);
  EXPECT_EQ(status.size, 0U);
}

TEST(LowOpen, FollowsItsFlags) {
  const TempFolder folder;
  const struct {
    int flags;
    bool exists;
    bool opens;
    const char* contents;  // behind a write of "X" where that works
  } cases[] = {
      {0, false, false, nullptr},
      {0, true, true, "old"},
      {kLowReadWrite, false, false, nullptr},
      {kLowReadWrite, true, true, "Xld"},
      {kLowWriteOnly, true, true, "Xld"},
      {kLowCreate, false, true, ""},
      {kLowCreate, true, true, "old"},
      {kLowCreate | kLowReadWrite, false, true, "X"},
      {kLowCreate | kLowReadWrite, true, true, "Xld"},
      {kLowTruncate | kLowReadWrite, false, true, "X"},
      {kLowTruncate | kLowReadWrite, true, true, "X"},
      {kLowRewrite, false, true, "X"},
      {kLowRewrite, true, true, "X"},
      {kLowReadWrite | kLowAppend, true, true, "oldX"},
      {kLowRewrite | kLowAppend, true, true, "X"},
  };
  for (const auto& row : cases) {
    std::filesystem::remove(folder.Host("f"));
    if (row.exists) folder.Write("f", "old");
    tvl::LowFile file(folder.Logical("f").c_str(), row.flags);
    ASSERT_EQ(file.IsOpen(), row.opens) << row.flags;
    if (!row.opens) continue;
    char x[] = "X";
    const bool writes = (row.flags & (kLowReadWrite | kLowWriteOnly)) != 0;
    if (writes) {
      EXPECT_EQ(LowWrite(file.Handle(), x, 1), 1U) << row.flags;
    }
    EXPECT_TRUE(file.Close());
    EXPECT_EQ(folder.Read("f"), row.contents) << row.flags;
  }
}

TEST(LowOpen, EmptiesAFileForAReaderToo) {
  const TempFolder folder;
  folder.Write("f", "old");
  const tvl::LowFile file(folder.Logical("f").c_str(), kLowTruncate);
  EXPECT_TRUE(file.IsOpen());
  EXPECT_EQ(folder.Read("f"), "");
}

TEST(LowOpen, OpensNothingButRegularFiles) {
  const TempFolder folder;
  ASSERT_EQ(mkfifo(folder.Host("pipe").c_str(), 0600), 0);
  folder.Make("dir");
  for (const string& path :
       {folder.Logical("pipe"), folder.Logical("dir"), string("\\dev\\null"), string("\\dev\\tty")}) {
    for (const int flags : {0, kLowReadWrite, kLowRewrite}) {
      EXPECT_EQ(LowOpen(path.c_str(), flags), INVALID_HANDLE_VALUE) << path << flags;
    }
    EXPECT_EQ(FileLength(path.c_str()), 0);
  }
  EXPECT_EQ(CopyFileA(folder.Logical("pipe").c_str(), folder.Logical("copy").c_str(), 0), 0);
  EXPECT_FALSE(folder.Exists("copy"));
}

TEST(LowFile, ReadsAndWritesThroughInterruptions) {
  const TempFolder folder;
  folder.Write("f", "");
  tvl::LowFile file(folder.Logical("f").c_str(), kLowReadWrite);
  char bytes[] = "abc";
  {
    const Faults faults(1, EINTR);
    EXPECT_EQ(LowWrite(file.Handle(), bytes, 3), 3U);
  }
  {
    const Faults faults(1, ENOSPC);
    EXPECT_EQ(LowWrite(file.Handle(), bytes, 3), kLowFailed);
  }
  const tvl::LowFile reader(folder.Logical("f").c_str(), 0);
  char got[8] = {};
  {
    const Faults faults(1, EINTR);
    EXPECT_EQ(LowRead(reader.Handle(), got, sizeof got), 3U);
  }
  EXPECT_STREQ(got, "abc");
  EXPECT_EQ(LowRead(reader.Handle(), got, sizeof got), 0U);
  const Faults faults(1, EIO);
  EXPECT_EQ(LowRead(reader.Handle(), got, sizeof got), kLowFailed);
  EXPECT_EQ(LowWrite(reader.Handle(), bytes, 1), kLowFailed);
  EXPECT_EQ(LowRead(INVALID_HANDLE_VALUE, got, 1), kLowFailed);
}

TEST(FileTimes, GoFromOneFileToAnother) {
  const TempFolder folder;
  folder.Write("a", "");
  folder.Write("b", "");
  const timespec times[2] = {{1000000001, 1}, {-1, 999999999}};
  ASSERT_EQ(utimensat(AT_FDCWD, folder.Host("a").c_str(), times, 0), 0);
  const tvl::LowFile a(folder.Logical("a").c_str(), 0);
  const tvl::LowFile b(folder.Logical("b").c_str(), 0);
  FILETIME creation = {};
  FILETIME access = {};
  FILETIME write = {};
  ASSERT_EQ(GetFileTime(a.Handle(), &creation, &access, &write), 1);
  ASSERT_EQ(SetFileTime(b.Handle(), nullptr, nullptr, &write), 1);
  struct stat status = {};
  stat(folder.Host("b").c_str(), &status);
  EXPECT_EQ(status.st_mtim.tv_sec, -1);
  EXPECT_EQ(status.st_mtim.tv_nsec, 999999999);
  EXPECT_NE(status.st_atim.tv_sec, 1000000001);
  ASSERT_EQ(SetFileTime(b.Handle(), &creation, &access, &write), 1);
  stat(folder.Host("b").c_str(), &status);
  EXPECT_EQ(status.st_atim.tv_sec, 1000000001);
  EXPECT_EQ(status.st_atim.tv_nsec, 1);
}

TEST(Descriptors, DoNotReachAProgramThatIsStarted) {
  const TempFolder folder;
  folder.Write("f", "");
  const tvl::LowFile file(folder.Logical("f").c_str(), kLowReadWrite);
  EXPECT_NE(fcntl(static_cast<int>(file.Handle()), F_GETFD) & FD_CLOEXEC, 0);
}

TEST(CreateDirectory, MakesOneLevel) {
  const TempFolder folder;
  EXPECT_EQ(CreateDirectoryA(folder.Logical("a\\b").c_str(), nullptr), 0);
  EXPECT_EQ(CreateDirectoryA(folder.Logical("a\\").c_str(), nullptr), 1);
  EXPECT_EQ(CreateDirectoryA(folder.Logical("a").c_str(), nullptr), 0);
  EXPECT_EQ(CreateDirectoryA("", nullptr), 0);
  EXPECT_EQ(folder.Tree(), std::vector<string>{"a"});
}

}  // namespace
