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

// Checks a marker without pauses until it is killed.
int AskForEver(const std::vector<std::string>& arguments) {
  Say("asking");
  for (;;) static_cast<void>(tvl::IsMarkerAlive(arguments[0].c_str()));
}
const Role askForEver("ask-for-ever", AskForEver);

// A trier may delete the marker between its creation and the hold on it.
TEST(MarkerRace, OwnerGetsHoldDespiteTrier) {
  const TempFolder folder;
  const Store store(folder.Host());
  std::filesystem::create_directories(store.procsHost);
  const tvl::PathText marker = tvl::MarkerPath(
      store.procs.c_str(), {"pc12", "7f000001", 1, static_cast<unsigned int>(getpid()), "mgrx"});
  HelperProcess asker({"ask-for-ever", marker.Text()});
  ASSERT_EQ(asker.Hear(), "asking");
  for (int round = 0; round < Rounds(5'000); ++round) {
    CConnection owner(store.locks.c_str(), store.procs.c_str(), "mgrx", "pc12");
    ASSERT_EQ(owner.AllocateInstance(), 1);
    ASSERT_STREQ(owner.markerPath, marker.Text());
    ASSERT_EQ(store.Markers().size(), 1U) << round;
    ASSERT_TRUE(tvl::IsFileHeld(marker.Text())) << round;
  }
}

}  // namespace
