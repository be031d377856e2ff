#include <sys/mount.h>

#include <cstdlib>

#include "host/system_calls.h"
#include "platform/fixtures.h"
#include "platform/last_error.h"
#include "support/helper_process.h"

namespace {

TEST(CopyFile, RefusesNonFiles) {
  const TempFolder folder;
  folder.Write("a", "bytes");
  folder.Make("dir");
  ASSERT_EQ(mkfifo(folder.Host("pipe").c_str(), 0600), 0);
  for (const auto& [source, target] :
       {std::pair{"none", "b"}, {"dir", "b"}, {"pipe", "b"}, {"a", "dir"}, {"a", "pipe"}, {"a", "none/b"}})
    EXPECT_EQ(Copy(folder, source, target), 0) << source << target;
  EXPECT_EQ(CopyFileA(folder.Logical("a").c_str(), folder.Logical("a").c_str(), 1), 0);
  EXPECT_EQ(folder.Tree(), (std::vector<string>{"a", "dir", "pipe"}));
}

TEST(CopyFile, CopiesTimeAndExecuteBit) {
  const TempFolder folder;
  folder.Write("a", "bytes");
  folder.SetTimes("a", {1, 0}, {1234567890, 123456789});
  ASSERT_EQ(chmod(folder.Host("a").c_str(), 0755), 0);
  const mode_t before = umask(027);
  ASSERT_EQ(Copy(folder, "a", "b"), 1);
  umask(before);
  const struct stat status = folder.Status("b");
  EXPECT_EQ(status.st_mtim.tv_sec, 1234567890);
  EXPECT_EQ(status.st_mtim.tv_nsec, 123456789);
  EXPECT_EQ(status.st_mode & 0777, 0750U);
}

// A share may say 0 in the middle of a copy inside the kernel.
TEST(CopyFile, ContinuesWhereKernelStops) {
  static int calls = 0;
  static ssize_t end = 0;
  static const tvl::SystemCalls real = tvl::System();
  const TempFolder folder;
  folder.Write("a", Pattern(500000));
  tvl::System().clone = [](int, int) { return -1; };
  tvl::System().copy_file_range = [](int source, int target, std::size_t) {
    errno = EINVAL;
    return ++calls % 3 != 0 ? real.copy_file_range(source, target, 100000) : end;
  };
  for (end = -1; end <= 0; ++end) {
    EXPECT_EQ(Copy(folder, "a", "b"), 1);
    EXPECT_EQ(folder.Read("b"), Pattern(500000)) << end;
  }
  EXPECT_EQ(calls, 6);
  tvl::System() = real;
}

TEST(CopyFile, CopiesFileOfUnknownSize) {
  const TempFolder folder;
  ASSERT_EQ(CopyFileA("\\proc\\self\\status", folder.Logical("b").c_str(), 0), 1);
  EXPECT_NE(folder.Read("b").find("Pid:"), string::npos);
}

// On small disks, of which the second keeps what it could reserve of too much.
TEST(CopyFile, KeepsTargetIfDiskSpaceIsNotEnough) {
  for (const char* mount : {"mount -t tmpfs -o size=4m none disk",
                            "truncate -s 4M image && mkfs.ext4 -q image && mount -o loop image disk"}) {
    const TempFolder folder;
    folder.Make("disk");
    const string command = "(cd " + folder.Host() + " && " + mount + ") 2>/dev/null";
    if (geteuid() != 0 || std::system(command.c_str()) != 0) GTEST_SKIP() << "takes root";
    const auto free_room = [&] {
      sync();
      return fs::space(folder.Host("disk")).free;
    };
    folder.Write("big", Pattern(8000000));
    folder.Write("disk/target", "what was there");
    const std::uintmax_t before = free_room();
    tvl::TakeLastError();
    EXPECT_EQ(Copy(folder, "big", "disk/target"), 0);
    EXPECT_EQ(tvl::TakeLastError().code, ENOSPC);
    EXPECT_EQ(folder.Read("disk/target"), "what was there");
    EXPECT_EQ(free_room(), before) << "what was reserved in vain is free again";
    EXPECT_EQ(Copy(folder, "big", "disk/new"), 0);
    umount2(folder.Host("disk").c_str(), MNT_DETACH);
  }
}

// Lends a file out as a file server does: a process that opens it must wait until the lease is given back.
// Here the signal that asks for it ends the process.
const Role kLease("lease", [](const std::vector<string>& arguments) {
  if (fcntl(open(arguments.at(0).c_str(), O_RDONLY), F_SETLEASE, F_RDLCK) != 0) return 1;
  Say("leased");
  Listen();
  return 0;
});

TEST(CopyFile, WaitsForRecalledLease) {
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
