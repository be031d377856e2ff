#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "presence/connection.h"
#include "presence/marker.h"
#include "presence/rounds.h"
#include "support/helper_process.h"
#include "support/scale.h"
#include "support/store.h"
#include "support/temp_folder.h"

namespace {

using Party = RoundsTogether::Party;

constexpr int kRounds = Rounds(20'000);

// Asks at one dead marker beside another asker: both must find it dead.
void AskTogether(RoundsTogether& rounds, const std::string& marker) {
  rounds.Meet();
  if (tvl::IsMarkerAlive(marker.c_str())) ++rounds.Wrong();
  rounds.Meet();
}

int AskAtTheDead(const std::vector<std::string>& arguments) {
  RoundsTogether rounds(arguments[0], Party::kHelper);
  for (int round = 0; round < kRounds; ++round) AskTogether(rounds, arguments[1]);
  return 0;
}
const Role askAtTheDead("ask-at-the-dead", AskAtTheDead);

TEST(MarkerRace, TwoAskersFindTheDeadDead) {
  const TempFolder folder;
  const std::string marker = folder.Host("marker");
  RoundsTogether rounds(folder.Host("rounds"), Party::kTest);
  HelperProcess other({"ask-at-the-dead", folder.Host("rounds"), folder.Logical("marker")});
  for (int round = 0; round < kRounds; ++round) {
    close(open(marker.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    AskTogether(rounds, folder.Logical("marker"));
    if (access(marker.c_str(), F_OK) == 0) ++rounds.Wrong();
  }
  EXPECT_EQ(other.Wait(), 0);
  EXPECT_EQ(rounds.Wrong(), 0);
}

// Asks without a pause while the owner comes; once that says that it is there it must be found alive.
int AskAtTheOwner(const std::vector<std::string>& arguments) {
  RoundsTogether rounds(arguments[0], Party::kHelper);
  for (int round = 1; round <= kRounds; ++round) {
    rounds.Meet();
    for (bool present = false; !present;) {
      present = rounds.Signal() == round;
      const bool alive = tvl::IsMarkerAlive(arguments[1].c_str());
      if (present && !alive) ++rounds.Wrong();
    }
    rounds.Meet();
  }
  return 0;
}
const Role askAtTheOwner("ask-at-the-owner", AskAtTheOwner);

TEST(MarkerRace, AnOwnerGetsItsHoldBesideAnAsker) {
  const TempFolder folder;
  const Store store(folder.Host());
  std::filesystem::create_directories(store.procsHost);
  const tvl::PathText marker = tvl::MarkerPath(
      store.procs.c_str(), {"pc12", "7f000001", 1, static_cast<unsigned int>(getpid()), "mgrx"});
  RoundsTogether rounds(folder.Host("rounds"), Party::kTest);
  HelperProcess asker({"ask-at-the-owner", folder.Host("rounds"), marker.Text()});
  for (int round = 1; round <= kRounds; ++round) {
    CConnection owner(store.locks.c_str(), store.procs.c_str(), "mgrx", "pc12");
    rounds.Meet();
    ASSERT_EQ(owner.AllocateInstance(), 1);
    rounds.Signal() = round;
    rounds.Meet();
    ASSERT_STREQ(owner.markerPath, marker.Text());
  }
  EXPECT_EQ(asker.Wait(), 0);
  EXPECT_EQ(rounds.Wrong(), 0);
  EXPECT_TRUE(store.Markers().empty());
}

}  // namespace
