#include <signal.h>

#include <chrono>
#include <list>
#include <set>

#include "platform/held_file.h"
#include "presence/clients.h"
#include "presence/marker.h"
#include "support/scale.h"
#include "table/engine_binding.h"

namespace {

constexpr std::size_t kProcesses = 8;

string ObjectName(int number) {
  return "OBJECT" + std::to_string(number);
}

const Role beClient("client", [](const std::vector<string>& arguments) {
  LoadTableEngine();  // while this process may still read it
  const auto user = static_cast<uid_t>(std::stoul(arguments[1]));
  umask(077);
  if (user != 0 && (setgid(user) != 0 || setuid(user) != 0)) return 1;
  const Store store(arguments[0]);
  CConnection me(store.locks.c_str(), store.procs.c_str(), "mgrx", "pc12");
  Say("ready");
  Listen();
  Say(std::to_string(me.AllocateInstance()));
  for (string object = Listen(); !object.empty(); object = Listen())
    Say(std::to_string(me.Lock(object.c_str())));
  return 0;
});

using PresenceLockProcesses = StoreTest;

TEST_F(PresenceLockProcesses, SimultaneousInstancesGetDifferentNumbers) {
  for (int round = 0; round < Rounds(10); ++round) {
    std::list<ClientProcess> starting;
    while (starting.size() < kProcesses) starting.emplace_back(folder_.Host());
    for (ClientProcess& process : starting) process.Say("start");
    std::set<string> numbers;
    for (ClientProcess& process : starting) numbers.insert(process.Hear());
    EXPECT_EQ(numbers.size(), kProcesses) << testing::PrintToString(numbers);
  }
}

TEST_F(PresenceLockProcesses, StoppedOwnerKeepsLocksAndKilledOneLosesThem) {
  constexpr int locks = 50;
  Me me(store_, "view");
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
const Role sitInABatch("sit-in-a-batch", [](const std::vector<string>& arguments) {
  Me me{Store(arguments[0])};
  if (me.Lock("PARENT") != 1) return 1;
  const tvl::TableBatch batch(me.table->handle, tvl::TableBatch::Kind::kWrite);
  if (batch.HasBegun() && fork() == 0) Say("child lives");
  Listen();
  _exit(0);
});

TEST_F(PresenceLockProcesses, StoppedWriterMakesOthersFailWithoutHanging) {
  using std::chrono::seconds;
  using std::chrono::steady_clock;
  Me me(store_, "view");
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

// Checks a marker without pauses until it is killed.
const Role askForEver("ask-for-ever", [](const std::vector<string>& arguments) {
  Say("asking");
  for (;;) static_cast<void>(tvl::IsMarkerAlive(arguments[0].c_str()));
  return 0;
});

// A trier may delete the marker between its creation and the hold on it.
TEST_F(PresenceLockProcesses, OwnerGetsHoldDespiteTrier) {
  const tvl::PathText marker = tvl::MarkerPath(
      store_.procs.c_str(), {"pc12", "7f000001", 1, static_cast<unsigned int>(getpid()), "mgrx"});
  HelperProcess asker({"ask-for-ever", marker.Text()});
  ASSERT_EQ(asker.Hear(), "asking");
  for (int round = 0; round < Rounds(5'000); ++round) {
    const Me owner(store_);
    ASSERT_STREQ(owner.markerPath, marker.Text());
    ASSERT_EQ(store_.Markers().size(), 1U) << round;
    ASSERT_TRUE(tvl::IsFileHeld(marker.Text())) << round;
  }
}

}  // namespace
