#include <sys/wait.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>

#include "platform/fixtures.h"
#include "store/lock_ranges.h"
#include "support/faults.h"
#include "support/helper_process.h"

namespace {

// Holds a file until it is killed.
const Role kHold("hold", [](const std::vector<string>& arguments) {
  const tvl::LowFile file(arguments.at(0).c_str(), kLowReadWrite);
  if (!tvl::HoldFile(file.Handle())) return 1;
  Say("holding");
  Listen();
  return 0;
});

// Asks over and over whether a file is held, until its standard input says stop; 1 if it ever was.
const Role kAsk("ask", [](const std::vector<string>& arguments) {
  std::atomic<bool> stop = false;
  bool held = false;
  std::thread asker([&] {
    while (!stop) held = IsHeldBySomebody(arguments.at(0)) || held;
  });
  Say("asking");
  Listen();
  stop = true;
  asker.join();
  return held ? 1 : 0;
});

TEST_F(HeldFile, DetectsAnotherProcessUntilItDies) {
  HelperProcess holder({"hold", folder_.Logical("full")});
  ASSERT_EQ(holder.Hear(), "holding");
  ExpectRefused("full");
  holder.Signal(SIGSTOP);
  EXPECT_TRUE(IsHeldBySomebody(folder_.Logical("full")));
  holder.Signal(SIGKILL);
  EXPECT_EQ(holder.Wait(), -SIGKILL);
  EXPECT_FALSE(IsHeldBySomebody(folder_.Logical("full")));
}

// A lock that some program, of this or the last release, has on a file.
class Locked {
 public:
  Locked(const string& path, short type, const tvl::LockRange& range) : file_(path.c_str(), kLowReadWrite) {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_start = range.start;
    lock.l_len = range.length;
    locked_ = fcntl(static_cast<int>(file_.Handle()), F_OFD_SETLK, &lock) == 0;
  }
  [[nodiscard]] bool IsLocked() const { return locked_; }

 private:
  tvl::LowFile file_;
  bool locked_;
};

constexpr tvl::LockRange kEarlierHold = {0, 0};
constexpr tvl::LockRange kEarlierTry = {0, std::int64_t{1} << 62};

TEST_F(HeldFile, ReportsHoldAtOnceAndWaitsForTry) {
  using std::chrono::milliseconds;
  using std::chrono::steady_clock;
  const std::tuple<const char*, short, tvl::LockRange, bool> cases[] = {
      {"a hold", F_WRLCK, tvl::kHoldRange, true},
      {"a hold by the last release", F_WRLCK, kEarlierHold, true},
      {"a table in use", F_RDLCK, tvl::kUseByte, true},
      {"a turn that does not end", F_WRLCK, tvl::kTurnByte, false},
      {"a try that does not end", F_WRLCK, tvl::kTryRange, true},  // nobody keeps one without its turn
      {"a try by the last release", F_WRLCK, kEarlierTry, false},
  };
  for (const auto& [what, type, range, at_once] : cases) {
    SCOPED_TRACE(what);
    const string path = folder_.Logical("empty");
    const Locked other(path, type, range);
    ASSERT_TRUE(other.IsLocked());
    const steady_clock::time_point start = steady_clock::now();
    EXPECT_TRUE(IsHeldBySomebody(path));
    EXPECT_EQ(steady_clock::now() - start < milliseconds(900), at_once);
    EXPECT_EQ(DeleteFileA(path.c_str()), 0);
  }
  EXPECT_FALSE(IsHeldBySomebody(folder_.Logical("empty")));
  const tvl::SystemCalls real = tvl::System();
  tvl::System().lock = Failing<ENOLCK>();
  EXPECT_TRUE(IsHeldBySomebody(folder_.Logical("empty"))) << "the lock service may know a holder";
  tvl::System() = real;
}

TEST_F(HeldFile, DetectedByLastRelease) {
  const string path = folder_.Logical("empty");
  const tvl::LowFile file(path.c_str(), kLowReadWrite);
  ASSERT_TRUE(tvl::HoldFile(file.Handle()));
  for (const tvl::LockRange& range : {kEarlierHold, kEarlierTry})
    EXPECT_FALSE(Locked(path, F_WRLCK, range).IsLocked());
  tvl::ReleaseFile(file.Handle());
}

TEST_F(HeldFile, WaitingTryDoesNotBlockOtherThreads) {
  const string stuck = folder_.Logical("full");
  const Locked other(stuck, F_WRLCK, tvl::kTurnByte);
  std::atomic<bool> is_waiting = true;
  std::thread waiting([&] {
    EXPECT_TRUE(IsHeldBySomebody(stuck));
    is_waiting = false;
  });
  int tries = 0;
  for (; is_waiting; ++tries) EXPECT_FALSE(IsHeldBySomebody(folder_.Logical("empty")));
  waiting.join();
  EXPECT_GT(tries, 100);
}

// Triers lock the file for a moment too; they are no holders to one another, nor in a holder's way.
TEST_F(HeldFile, TriersDoNotBlockEachOther) {
  const string path = folder_.Logical("empty");
  HelperProcess one({"ask", path});
  HelperProcess two({"ask", path});
  ASSERT_EQ(one.Hear() + two.Hear(), "askingasking");
  for (int i = 0; i < 1000; ++i) EXPECT_FALSE(IsHeldBySomebody(path));
  one.Say("end");
  EXPECT_EQ(one.Wait(), 0);
  for (int i = 0; i < 300; ++i) {
    const tvl::LowFile file(path.c_str(), kLowReadWrite);
    ASSERT_TRUE(tvl::HoldFile(file.Handle()));
    tvl::ReleaseFile(file.Handle());
  }
}

TEST_F(HeldFile, NotInheritedByForkedChild) {
  const string path = folder_.Logical("full");
  tvl::LowFile file(path.c_str(), kLowReadWrite);
  const HANDLE handle = file.Handle();
  ASSERT_TRUE(tvl::HoldFile(handle));
  const pid_t child = fork();
  if (child == 0) {
    raise(SIGSTOP);
    _exit(0);
  }
  waitpid(child, nullptr, WUNTRACED);
  EXPECT_TRUE(IsHeldBySomebody(path));
  EXPECT_TRUE(file.Close());
  EXPECT_FALSE(IsHeldBySomebody(path));
  tvl::ReleaseFile(handle);  // no more than a number now
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}

}  // namespace
