#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <list>
#include <set>
#include <string>
#include <vector>

#include "presence/client_process.h"
#include "presence/connection.h"
#include "support/scale.h"
#include "support/store.h"
#include "support/temp_folder.h"
#include "table/engine_binding.h"

namespace {

constexpr std::size_t kProcesses = 8;

std::string ObjectName(int number) {
  return "OBJECT" + std::to_string(number);
}

struct Me : CConnection {
  explicit Me(const Store& store, const char* clientClass = "mgrx")
      : CConnection(store.locks.c_str(), store.procs.c_str(), clientClass) {}
};

int BeClient(const std::vector<std::string>& arguments) {
  LoadTableEngine();  // while this process may still read it
  const auto user = static_cast<uid_t>(std::stoul(arguments[1]));
  umask(077);
  if (user != 0 && (setgid(user) != 0 || setuid(user) != 0)) return 1;
  const Store store(arguments[0]);
  Me me(store);
  Say("ready");
  Listen();
  Say(std::to_string(me.AllocateInstance()));
  for (std::string object = Listen(); !object.empty(); object = Listen())
    Say(std::to_string(me.Lock(object.c_str())));
  return 0;
}
const Role beClient("client", BeClient);

class PresenceLockProcesses : public testing::Test {
 protected:
  void SetUp() override { store_.Make(); }

  TempFolder folder_{TempFolder::Memory()};
  Store store_{folder_.Host()};
};

TEST_F(PresenceLockProcesses, SimultaneousInstancesGetDifferentNumbers) {
  for (int round = 0; round < Rounds(10); ++round) {
    std::list<ClientProcess> starting;
    while (starting.size() < kProcesses) starting.emplace_back(folder_.Host());
    for (ClientProcess& process : starting) process.Say("start");
    std::set<std::string> numbers;
    for (ClientProcess& process : starting) numbers.insert(process.Hear());
    EXPECT_EQ(numbers.size(), kProcesses) << testing::PrintToString(numbers);
  }
}

TEST_F(PresenceLockProcesses, StoppedOwnerKeepsLocksAndKilledOneLosesThem) {
  constexpr int locks = 50;
  Me me(store_, "view");
  me.AllocateInstance();
  ClientProcess owner(folder_.Host());
  ASSERT_EQ(owner.Start(), "1");
  for (int object = 0; object < locks; ++object) ASSERT_EQ(owner.Lock(ObjectName(object)), "1");
  owner.Signal(SIGSTOP);
  for (int object = 0; object < locks; ++object) EXPECT_EQ(me.Lock(ObjectName(object).c_str()), 2);
  owner.Signal(SIGKILL);
  ASSERT_EQ(owner.Wait(), -SIGKILL);
  EXPECT_EQ(store_.Markers().size(), 2U);
  for (int object = 0; object < locks; ++object) EXPECT_EQ(me.Lock(ObjectName(object).c_str()), 1);
  EXPECT_EQ(me.lockCount, locks);
  EXPECT_EQ(store_.Markers().size(), 1U) << "the dead one's marker is gone";
}

TEST_F(PresenceLockProcesses, RemovesDeadClientOfAnotherUser) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become other users";
  ClientProcess first(folder_.Host(), 65534);
  ClientProcess second(folder_.Host(), 65533);
  EXPECT_EQ(first.Start(), "1");
  EXPECT_EQ(second.Start(), "2");
  EXPECT_EQ(first.Lock("A"), "1");
  EXPECT_EQ(second.Lock("A"), "2");
  first.Signal(SIGKILL);
  ASSERT_EQ(first.Wait(), -SIGKILL);
  EXPECT_EQ(second.Lock("A"), "1");
  EXPECT_EQ(store_.Markers().size(), 1U);
}

// Holds a lock and stays inside a write batch of the lock table, with a forked child that has neither.
int SitInABatch(const std::vector<std::string>& arguments) {
  const Store store(arguments[0]);
  Me me(store);
  me.AllocateInstance();
  if (me.Lock("PARENT") != 1) return 1;
  const tvl::TableBatch batch(me.table->handle, tvl::TableBatch::Kind::kWrite);
  if (batch.HasBegun() && fork() == 0) Say("child lives");
  Listen();
  _exit(0);
}
const Role sitInABatch("sit-in-a-batch", SitInABatch);

TEST_F(PresenceLockProcesses, StoppedWriterMakesOthersFailWithoutHanging) {
  using std::chrono::seconds;
  using std::chrono::steady_clock;
  Me me(store_, "view");
  me.AllocateInstance();
  ASSERT_EQ(me.Lock("MINE"), 1);
  ClientProcess other(folder_.Host());
  ASSERT_EQ(other.Start(), "1");
  HelperProcess writer({"sit-in-a-batch", folder_.Host()});
  ASSERT_EQ(writer.Hear(), "child lives");
  writer.Signal(SIGSTOP);
  // Uses another process, because within one process the users of a table take turns.
  ClientProcess late(folder_.Host());
  steady_clock::time_point start = steady_clock::now();
  late.Say("start");
  other.Say("OTHER");
  EXPECT_EQ(other.Hear(), "0");
  EXPECT_EQ(late.Hear(), "3") << "it starts all the same";
  EXPECT_GE(steady_clock::now() - start, seconds(9));
  EXPECT_LE(steady_clock::now() - start, seconds(15));

  writer.Signal(SIGKILL);
  writer.Wait();
  start = steady_clock::now();
  EXPECT_EQ(me.Lock("PARENT"), 1);
  EXPECT_LT(steady_clock::now() - start, seconds(8)) << "the child does not block others";
  EXPECT_EQ(me.Unlock("MINE"), 0);
  EXPECT_EQ(store_.Markers().size(), 3U) << "the dead one's is gone";
}

}  // namespace
