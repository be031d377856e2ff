#include "platform/files.h"

#include <fcntl.h>

#include <atomic>
#include <chrono>
#include <latch>
#include <memory>
#include <thread>

#include "base/file_helpers.h"
#include "base/low_file.h"
#include "host/descriptor.h"
#include "host/file_lock.h"
#include "host/local_turn.h"
#include "platform/host_path.h"
#include "store/lock_ranges.h"
#include "support/faults.h"
#include "support/testing.h"

namespace {

TEST(Status, Has64BitSizeAndWholeSeconds) {
  const TempFolder folder;
  folder.Write("big", "");
  fs::resize_file(folder.Host("big"), 0x1C0000005);
  folder.SetTimes("big", {1, 0}, {-5, 999999999});
  tvl::FileStatus status = {};
  ASSERT_TRUE(tvl::ReadFileStatus(folder.Logical("big").c_str(), &status));
  EXPECT_EQ(status.size, 0x1C0000005U);
  EXPECT_EQ(status.modified, -5);
  EXPECT_EQ(FileLength(folder.Logical("big").c_str()), static_cast<int>(0xC0000005));
}

TEST(LowOpen, OpensRegularFilesOnly) {
  const TempFolder folder;
  ASSERT_EQ(mkfifo(folder.Host("pipe").c_str(), 0600), 0);
  for (const string& path : {folder.Logical("pipe"), folder.Logical(), string("\\dev\\null")}) {
    for (const int flags : {0, kLowReadWrite, kLowRewrite})
      EXPECT_EQ(LowOpen(path.c_str(), flags), INVALID_HANDLE_VALUE) << path << flags;
    EXPECT_EQ(FileLength(path.c_str()), 0);
  }
}

TEST(LowFile, RetriesInterruptedCallsAndReportsOtherFailures) {
  const TempFolder folder;
  folder.Write("f", "");
  const tvl::LowFile writer(folder.Logical("f").c_str(), kLowReadWrite);
  const tvl::LowFile reader(folder.Logical("f").c_str(), 0);
  char bytes[] = "abc";
  char got[8] = {};
  const auto write = [&](int error) {
    const Faults faults(1, error);
    return LowWrite(writer.Handle(), bytes, 3);
  };
  const auto read = [&](int error) {
    const Faults faults(1, error);
    return LowRead(reader.Handle(), got, sizeof got);
  };
  EXPECT_EQ(write(ENOSPC), kLowFailed);
  EXPECT_EQ(write(EINTR), 3U);
  EXPECT_EQ(read(EIO), kLowFailed);
  EXPECT_EQ(read(EINTR), 3U);
  EXPECT_STREQ(got, "abc");
  EXPECT_EQ(LowRead(reader.Handle(), got, sizeof got), 0U);
  EXPECT_EQ(LowRead(INVALID_HANDLE_VALUE, got, 1), kLowFailed);
  EXPECT_NE(fcntl(static_cast<int>(reader.Handle()), F_GETFD) & FD_CLOEXEC, 0)
      << "a program that is started must not get it";
}

// Or after the time that it waits.
TEST(LocalTurn, StartsOnlyAfterTheOneBefore) {
  const TempFolder folder;
  const string file = folder.Host("file");
  std::atomic<bool> ended = false;
  auto first = std::make_unique<tvl::LocalTurn>(file.c_str());
  EXPECT_TRUE(first->Has());
  EXPECT_FALSE(tvl::LocalTurn(folder.Host("other").c_str(), std::chrono::milliseconds(5)).Has());
  EXPECT_TRUE(tvl::LocalTurn("/missing/file").Has()) << "there is nothing to wait for";
  std::latch started(1);
  std::thread second([&] {
    started.count_down();
    const auto begin = std::chrono::steady_clock::now();
    const tvl::LocalTurn turn(file.c_str());
    EXPECT_TRUE(ended || std::chrono::steady_clock::now() - begin >= std::chrono::seconds(1));
  });
  started.wait();
  for (int left = 1000; left > 0; --left) std::this_thread::yield();
  ended = true;
  first.reset();
  second.join();
}

// Like SMB on Linux, where the server's lock may remain.
TEST(FileLock, RefusalLeavesNothingLocked) {
  static const tvl::SystemCalls real = tvl::System();
  const TempFolder folder;
  folder.Write("f", "");
  const tvl::Descriptor one(open(folder.Host("f").c_str(), O_RDWR | O_CLOEXEC));
  const tvl::Descriptor other(open(folder.Host("f").c_str(), O_RDWR | O_CLOEXEC));
  tvl::System().lock = [](int file, int command, struct flock* lock) {
    const int result = real.lock(file, command, lock);
    if (lock->l_type == F_UNLCK) return result;
    errno = EAGAIN;
    return -1;
  };
  const bool taken = tvl::TryLock(one.Get(), F_WRLCK, tvl::kGateByte);
  EXPECT_EQ(errno, EAGAIN);
  tvl::System() = real;
  EXPECT_FALSE(taken);
  EXPECT_TRUE(tvl::TryLock(other.Get(), F_WRLCK, tvl::kGateByte));
}

TEST(HostPathText, ConvertsSeparatorsAndNeverNamesAnotherFile) {
  EXPECT_STREQ(tvl::HostPath("\\a/b\\").Text(), "/a/b/");
  for (const std::size_t length : {4095U, 4096U, 1000000U}) {
    // Slashes count for nothing to the system, so that a path that was cut too early would be the root.
    const string path(length, '\\');
    const bool exists = GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
    EXPECT_EQ(exists, length <= 4095) << length;
  }
}

}  // namespace
