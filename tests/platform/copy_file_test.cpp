#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "platform/files.h"
#include "platform/last_error.h"
#include "support/faults.h"
#include "support/helper_process.h"
#include "support/temp_folder.h"

namespace {

using std::string;

string Pattern(std::size_t size) {
  string bytes(size, 0);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 7 + i / 251);
  return bytes;
}

int Copy(const TempFolder& folder, const string& source, const string& target) {
  return CopyFileA(folder.Logical(source).c_str(), folder.Logical(target).c_str(), 0);
}

TEST(CopyFile, OfAllSizesOverAllSizes) {
  const TempFolder folder;
  for (const std::size_t size : {0, 1, 4096, 131071, 131072, 131073, 300000, 1000000}) {
    for (const std::size_t before : {0, 10, 131072, 2000000}) {
      folder.Write("a", Pattern(size));
      folder.Write("b", string(before, 'x'));
      ASSERT_EQ(Copy(folder, "a", "b"), 1);
      ASSERT_EQ(folder.Read("b"), Pattern(size)) << size << " over " << before;
    }
  }
}

TEST(CopyFile, OntoItselfKeepsTheBytes) {
  const TempFolder folder;
  folder.Write("a", "bytes");
  std::filesystem::create_hard_link(folder.Host("a"), folder.Host("hard"));
  std::filesystem::create_symlink("a", folder.Host("soft"));
  for (const char* source : {"a", "hard", "soft"}) {
    for (const char* target : {"a", "hard", "soft", "./a"}) {
      EXPECT_EQ(Copy(folder, source, target), 1) << source << target;
      EXPECT_EQ(folder.Read("a"), "bytes") << source << target;
    }
  }
}

TEST(CopyFile, RefusesWhatIsNoFile) {
  const TempFolder folder;
  folder.Write("a", "bytes");
  folder.Make("dir");
  EXPECT_EQ(Copy(folder, "none", "b"), 0);
  EXPECT_EQ(Copy(folder, "dir", "b"), 0);
  EXPECT_EQ(Copy(folder, "a", "dir"), 0);
  EXPECT_EQ(Copy(folder, "a", "none/b"), 0);
  EXPECT_EQ(CopyFileA(folder.Logical("a").c_str(), folder.Logical("a").c_str(), 1), 0);
  EXPECT_EQ(folder.Tree(), (std::vector<string>{"a", "dir"}));
}

TEST(CopyFile, GivesTimeAndRightToRun) {
  const TempFolder folder;
  folder.Write("a", "bytes");
  const timespec times[2] = {{1, 0}, {1234567890, 123456789}};
  ASSERT_EQ(utimensat(AT_FDCWD, folder.Host("a").c_str(), times, 0), 0);
  ASSERT_EQ(chmod(folder.Host("a").c_str(), 0755), 0);
  const mode_t before = umask(027);
  ASSERT_EQ(Copy(folder, "a", "b"), 1);
  umask(before);
  struct stat status = {};
  ASSERT_EQ(stat(folder.Host("b").c_str(), &status), 0);
  EXPECT_EQ(status.st_mtim.tv_sec, 1234567890);
  EXPECT_EQ(status.st_mtim.tv_nsec, 123456789);
  EXPECT_EQ(status.st_mode & 0777, 0750U);
}

// A share may say 0 in the middle of a copy inside the kernel.
TEST(CopyFile, GoesOnWhereTheKernelStops) {
  static int calls = 0;
  static ssize_t (*real)(int, int, std::size_t) = nullptr;
  const TempFolder folder;
  folder.Write("a", Pattern(500000));
  const tvl::SystemCalls before = tvl::System();
  real = before.copy_file_range;
  tvl::System().clone = [](int, int) { return -1; };
  for (const ssize_t end : {ssize_t{0}, ssize_t{-1}}) {
    static ssize_t answer = 0;
    answer = end;
    calls = 0;
    tvl::System().copy_file_range = [](int source, int target, std::size_t) {
      errno = EINVAL;
      return ++calls < 3 ? real(source, target, 100000) : answer;
    };
    EXPECT_EQ(Copy(folder, "a", "b"), 1);
    EXPECT_EQ(folder.Read("b"), Pattern(500000));
  }
  tvl::System() = before;
}

TEST(CopyFile, OfAFileThatKnowsNoSize) {
  const TempFolder folder;
  ASSERT_EQ(CopyFileA("\\proc\\self\\status", folder.Logical("b").c_str(), 0), 1);
  EXPECT_NE(folder.Read("b").find("Pid:"), string::npos);
}

// A small file system of its own, which takes root to mount.
class SmallDisk : public testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    folder_.Make("disk");
    const string disk = folder_.Host("disk");
    const string image = folder_.Host("image");
    const string mount = string(GetParam()) == "tmpfs"
                             ? "mount -t tmpfs -o size=4m none " + disk
                             : "truncate -s 4M " + image + " && mkfs.ext4 -q " + image +
                                   " && mount -o loop " + image + " " + disk;
    if (geteuid() != 0 || std::system(("(" + mount + ") 2>/dev/null").c_str()) != 0)
      GTEST_SKIP() << "takes root";
    mounted_ = true;
  }
  void TearDown() override {
    if (mounted_) umount2(folder_.Host("disk").c_str(), MNT_DETACH);
  }

  unsigned long FreeBlocks() const {
    sync();
    struct statvfs status = {};
    statvfs(folder_.Host("disk").c_str(), &status);
    return status.f_bfree;
  }

  TempFolder folder_;
  bool mounted_ = false;
};

INSTANTIATE_TEST_SUITE_P(Kinds, SmallDisk, testing::Values("tmpfs", "ext4"));

TEST_P(SmallDisk, KeepsATargetForWhichTheRoomDoesNotSuffice) {
  folder_.Write("big", Pattern(8000000));
  folder_.Write("disk/target", "what was there");
  const unsigned long before = FreeBlocks();
  tvl::TakeLastError();
  EXPECT_EQ(Copy(folder_, "big", "disk/target"), 0);
  EXPECT_EQ(tvl::TakeLastError().code, ENOSPC);
  EXPECT_EQ(folder_.Read("disk/target"), "what was there");
  EXPECT_EQ(FreeBlocks(), before) << "what was reserved in vain is free again";
}

TEST_P(SmallDisk, FailsForANewTargetToo) {
  folder_.Write("big", Pattern(8000000));
  EXPECT_EQ(Copy(folder_, "big", "disk/new"), 0);
  folder_.Write("disk/new", string(600000, 'x'));
  folder_.Write("fits", Pattern(900000));
  EXPECT_EQ(Copy(folder_, "fits", "disk/new"), 1);
  EXPECT_EQ(folder_.Read("disk/new"), Pattern(900000));
}

// Lends a file out as a file server does: whoever opens it must wait until the lease is given back. Here the
// signal that asks for it ends the process.
int LeaseFile(const std::vector<string>& arguments) {
  const int file = open(arguments.at(0).c_str(), O_RDONLY);
  if (fcntl(file, F_SETLEASE, F_RDLCK) != 0) return 1;
  Tell("leased");
  Listen();
  return 0;
}

const Role lease("lease", LeaseFile);

TEST(CopyFile, WaitsForALeaseThatIsCalledBack) {
  const TempFolder folder;
  folder.Write("a", "new");
  folder.Write("b", "old");
  HelperProcess server({"lease", folder.Host("b")});
  if (server.Hear() != "leased") GTEST_SKIP() << "no leases on this file system";
  EXPECT_EQ(Copy(folder, "a", "b"), 1);
  EXPECT_EQ(folder.Read("b"), "new");
  EXPECT_EQ(server.Wait(), -SIGIO);
}

}  // namespace
