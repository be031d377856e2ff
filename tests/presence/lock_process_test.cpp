#include <signal.h>

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

const Role be_client("client", [](const std::vector<string>& arguments) {
  LoadTableEngine();  // while this process may still read it
  umask(077);
  if (!BecomeUser(std::stoi(arguments[1]))) return 1;
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

// Checks a marker without pauses until it is killed.
const Role ask_for_ever("ask-for-ever", [](const std::vector<string>& arguments) {
  Say("asking");
  for (;;) static_cast<void>(tvl::IsMarkerAlive(arguments[0].c_str()));
  return 0;
});

// A trier may delete the marker between its creation and the hold on it.
TEST_F(PresenceLockProcesses, OwnerGetsHoldDespiteTrier) {
  if (!kReplacesOpenFiles) GTEST_SKIP() << "the name of a marker remains while the trier has it open";
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
