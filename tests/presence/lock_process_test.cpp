#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "presence/connection.h"
#include "support/helper_process.h"
#include "support/scale.h"
#include "support/store.h"
#include "support/temp_folder.h"
#include "table/engine_binding.h"

namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr int kObjects = 5;

std::string ObjectName(int number) {
  return "OBJECT" + std::to_string(number);
}

class LockProcessTest : public testing::Test {
 protected:
  void SetUp() override { store_.Make(); }

  HelperProcess Start(const char* role, std::vector<std::string> arguments = {}) const {
    arguments.insert(arguments.begin(), {role, folder_.Host()});
    return HelperProcess(arguments);
  }

  TempFolder folder_{TempFolder::Memory()};
  Store store_{folder_.Host()};
};

// Waits for the order, takes a number, tells it and lives until told otherwise.
int TakeNumber(const std::vector<std::string>& arguments) {
  const Store store(arguments[0]);
  CConnection me(store.locks.c_str(), store.procs.c_str(), "mgrx", "pc12");
  Tell("ready");
  Listen();
  Tell(std::to_string(me.AllocateInstance()));
  Listen();
  return 0;
}
const Role takeNumber("take-number", TakeNumber);

TEST_F(LockProcessTest, InstancesThatStartTogetherGetDifferentNumbers) {
  constexpr int processes = 8;
  for (int round = 0; round < Rounds(10); ++round) {
    std::vector<std::unique_ptr<HelperProcess>> starting;
    for (int i = 0; i < processes; ++i) {
      starting.push_back(
          std::make_unique<HelperProcess>(std::vector<std::string>{"take-number", folder_.Host()}));
      ASSERT_EQ(starting.back()->Hear(), "ready");
    }
    for (const auto& process : starting) process->Say("go");
    std::set<std::string> numbers;
    for (const auto& process : starting) numbers.insert(process->Hear());
    EXPECT_EQ(numbers.size(), static_cast<std::size_t>(processes)) << testing::PrintToString(numbers);
  }
}

// Counts a file up without any guard but the lock on its object.
bool CountUp(const std::string& file) {
  const int descriptor = open(file.c_str(), O_RDWR | O_CLOEXEC);
  int count = 0;
  const bool read = pread(descriptor, &count, sizeof count, 0) == sizeof count;
  ++count;
  const bool written = read && pwrite(descriptor, &count, sizeof count, 0) == sizeof count;
  close(descriptor);
  return written;
}

int LockAndCount(const std::vector<std::string>& arguments) {
  const Store store(arguments[0]);
  const int process = std::stoi(arguments[1]);
  CConnection me(store.locks.c_str(), store.procs.c_str(), "mgrx");
  me.AllocateInstance();
  for (int round = 0; round < std::stoi(arguments[2]); ++round) {
    const std::string object = ObjectName((round + process) % kObjects);
    while (me.Lock(object.c_str()) != 1) {
      if (me.lockState != 2) return 1;
    }
    if (!CountUp(arguments[0] + '/' + object)) return 2;
    if (me.Unlock(object.c_str()) != 0) return 3;
  }
  return 0;
}
const Role lockAndCount("lock-and-count", LockAndCount);

TEST_F(LockProcessTest, NoCountIsLostUnderALock) {
  constexpr int processes = 8;
  constexpr int rounds = Rounds(1'000);
  const int none = 0;
  for (int object = 0; object < kObjects; ++object) {
    folder_.Write(ObjectName(object), std::string(reinterpret_cast<const char*>(&none), sizeof none));
  }
  std::vector<std::unique_ptr<HelperProcess>> counting;
  for (int i = 0; i < processes; ++i) {
    counting.push_back(std::make_unique<HelperProcess>(std::vector<std::string>{
        "lock-and-count", folder_.Host(), std::to_string(i), std::to_string(rounds)}));
  }
  for (const auto& process : counting) EXPECT_EQ(process->Wait(), 0);
  int total = 0;
  for (int object = 0; object < kObjects; ++object) {
    int count = 0;
    folder_.Read(ObjectName(object)).copy(reinterpret_cast<char*>(&count), sizeof count);
    total += count;
  }
  EXPECT_EQ(total, processes * rounds);
  EXPECT_TRUE(store_.Markers().empty());
}

// Takes some locks, as another user if one is given, and lives until told otherwise.
int HoldLocks(const std::vector<std::string>& arguments) {
  const Store store(arguments[0]);
  const int count = std::stoi(arguments[1]);
  if (arguments.size() > 2) {
    LoadTableEngine();  // while this process may still read it
    const auto user = static_cast<uid_t>(std::stoul(arguments[2]));
    umask(077);
    if (setgid(user) != 0 || setuid(user) != 0) return 1;
  }
  CConnection me(store.locks.c_str(), store.procs.c_str(), "mgrx");
  me.AllocateInstance();
  for (int object = 0; object < count; ++object) {
    if (me.Lock(ObjectName(object).c_str()) != 1) return 2;
  }
  Tell(std::to_string(me.instance));
  Listen();
  return 0;
}
const Role holdLocks("hold-locks", HoldLocks);

TEST_F(LockProcessTest, AStoppedOwnerKeepsItsLocksAndAKilledOneNone) {
  constexpr int locks = 50;
  CConnection me(store_.locks.c_str(), store_.procs.c_str(), "view");
  me.AllocateInstance();
  HelperProcess owner = Start("hold-locks", {std::to_string(locks)});
  ASSERT_EQ(owner.Hear(), "1");
  owner.Signal(SIGSTOP);
  for (int object = 0; object < locks; ++object) EXPECT_EQ(me.Lock(ObjectName(object).c_str()), 2);
  owner.Signal(SIGKILL);
  ASSERT_EQ(owner.Wait(), -SIGKILL);
  EXPECT_EQ(store_.Markers().size(), 2U);
  for (int object = 0; object < locks; ++object) EXPECT_EQ(me.Lock(ObjectName(object).c_str()), 1);
  EXPECT_EQ(me.lockCount, locks);
  EXPECT_EQ(store_.Markers().size(), 1U) << "the dead one's marker is gone";
}

TEST_F(LockProcessTest, ADeadClientOfAnotherUserIsClearedAway) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become other users";
  HelperProcess first = Start("hold-locks", {"3", "65534"});
  ASSERT_EQ(first.Hear(), "1");
  EXPECT_EQ(Start("hold-locks", {"3", "65533"}).Wait(), 2) << "the first one lives";
  first.Signal(SIGKILL);
  ASSERT_EQ(first.Wait(), -SIGKILL);
  HelperProcess second = Start("hold-locks", {"3", "65533"});
  EXPECT_EQ(second.Hear(), "1");
  EXPECT_EQ(store_.Markers().size(), 1U);
}

// Stays inside a write batch of the lock table.
int SitInABatch(const std::vector<std::string>& arguments) {
  const Store store(arguments[0]);
  CConnection me(store.locks.c_str(), store.procs.c_str(), "mgrx");
  me.AllocateInstance();
  const tvl::TableBatch batch(me.table->handle, tvl::TableBatch::Kind::kWrite);
  Tell(batch.HasBegun() ? "inside" : "refused");
  Listen();
  return 0;
}
const Role sitInABatch("sit-in-a-batch", SitInABatch);

constexpr seconds kWait{9};  // at least, of ten
constexpr seconds kTooLong{14};

// Waits for the order, tries one lock and tells the state.
int TryLock(const std::vector<std::string>& arguments) {
  const Store store(arguments[0]);
  CConnection me(store.locks.c_str(), store.procs.c_str(), "mgrx");
  me.AllocateInstance();
  Tell("ready");
  Listen();
  Tell(std::to_string(me.Lock("OTHER")));
  Listen();
  return 0;
}
const Role tryLock("try-lock", TryLock);

seconds TimeOf(const std::function<void()>& action) {
  const auto start = steady_clock::now();
  action();
  return std::chrono::duration_cast<seconds>(steady_clock::now() - start);
}

TEST_F(LockProcessTest, AStoppedWriterMakesOthersFailAndNoneHang) {
  CConnection me(store_.locks.c_str(), store_.procs.c_str(), "view");
  me.AllocateInstance();
  ASSERT_EQ(me.Lock("MINE"), 1);
  HelperProcess other = Start("try-lock");
  ASSERT_EQ(other.Hear(), "ready");
  HelperProcess writer = Start("sit-in-a-batch");
  ASSERT_EQ(writer.Hear(), "inside");
  writer.Signal(SIGSTOP);
  std::thread starting([this] {
    CConnection late(store_.locks.c_str(), store_.procs.c_str(), "view");
    const seconds time = TimeOf([&] { EXPECT_EQ(late.AllocateInstance(), 2) << "it starts all the same"; });
    EXPECT_GE(time, kWait);
    EXPECT_LE(time, kTooLong);
  });
  // Of another process: within one the users of a table take turns.
  const seconds time = TimeOf([&] {
    other.Say("try");
    EXPECT_EQ(other.Hear(), "0");
  });
  EXPECT_GE(time, kWait);
  EXPECT_LE(time, kTooLong);
  starting.join();
  writer.Signal(SIGKILL);
  writer.Wait();
  EXPECT_EQ(me.Lock("OTHER"), 1);
  EXPECT_EQ(me.Unlock("MINE"), 0);
}

}  // namespace
