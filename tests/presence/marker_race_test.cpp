#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/held_file.h"
#include "presence/connection.h"
#include "presence/marker.h"
#include "support/helper_process.h"
#include "support/scale.h"
#include "support/store.h"
#include "support/temp_folder.h"

namespace {

constexpr int kRounds = Rounds(20'000);

// Asks after a marker without a pause, until it is killed.
int AskForEver(const std::vector<std::string>& arguments) {
  Tell("asking");
  for (;;) static_cast<void>(tvl::IsMarkerAlive(arguments[0].c_str()));
}
const Role askForEver("ask-for-ever", AskForEver);

class MarkerRace : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(store_.procsHost);
    ASSERT_EQ(asker_.Hear(), "asking");
  }

  const TempFolder folder_;
  const Store store_{folder_.Host()};
  const tvl::PathText marker_ = tvl::MarkerPath(
      store_.procs.c_str(), {"pc12", "7f000001", 1, static_cast<unsigned int>(getpid()), "mgrx"});
  HelperProcess asker_{{"ask-for-ever", marker_.Text()}};
};

TEST_F(MarkerRace, TwoAskersFindTheDeadDead) {
  const std::string name = marker_.Text() + store_.procs.size();
  for (int round = 0; round < kRounds; ++round) {
    folder_.Write("store/tmp/procs/" + name, "");
    ASSERT_FALSE(tvl::IsMarkerAlive(marker_.Text())) << round;
    ASSERT_TRUE(store_.Markers().empty()) << round;
  }
}

TEST_F(MarkerRace, AnOwnerGetsItsHoldBesideAnAsker) {
  for (int round = 0; round < kRounds; ++round) {
    CConnection owner(store_.locks.c_str(), store_.procs.c_str(), "mgrx", "pc12");
    ASSERT_EQ(owner.AllocateInstance(), 1);
    ASSERT_STREQ(owner.markerPath, marker_.Text());
    ASSERT_EQ(store_.Markers().size(), 1U) << round;
    ASSERT_TRUE(tvl::IsFileHeld(marker_.Text())) << round;
  }
}

}  // namespace
