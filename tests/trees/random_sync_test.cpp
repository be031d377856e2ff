#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>

#include "directory/small_store.h"
#include "support/scale.h"
#include "trees/tree_model.h"

namespace {

namespace fs = std::filesystem;
using std::string;

constexpr const char* kPolicies[] = {"dumb", "HASH", "time"};

class RandomSync : public testing::TestWithParam<std::tuple<bool, bool, int>> {
 protected:
  RandomSync()
      : store(string("FileCompare=") + kPolicies[Policy()] + "\nZipOnTransfert=" + (Zips() ? "1\n" : "0\n"),
              TempFolder::Memory()) {}

  [[nodiscard]] static bool Puts() { return std::get<0>(GetParam()); }
  [[nodiscard]] static bool Zips() { return std::get<1>(GetParam()); }
  [[nodiscard]] static int Policy() { return std::get<2>(GetParam()); }
  [[nodiscard]] fs::path Source() const { return store.folder.Host(Puts() ? "work/t" : "root/t"); }
  [[nodiscard]] fs::path Target() const { return store.folder.Host(Puts() ? "root/t" : "work/t"); }

  void Plan(int exclude) {
    const auto flags = static_cast<SYNC_DIR_FILE_EXCLUDE>(exclude);
    total = 0;
    EXPECT_EQ(Puts() ? store.opr.SyncDirOpenPutRemote(Arg("t"), Arg("t"), flags, &total)
                     : store.opr.SyncDirOpenGetRemote(Arg("t"), Arg("t"), flags, &total),
              0);
  }

  [[nodiscard]] int Planned(SYNC_DIR_FILE_OPERATION wanted) const {
    int number = 0;
    for (int i = 0; i < store.opr.SyncPlanCount(); ++i) {
      const char *source, *target;
      unsigned int size = 0;
      SYNC_DIR_FILE_OPERATION operation = SYNC_DIR_FILE_KEEP;
      EXPECT_EQ(store.opr.SyncPlanEntry(i, &source, &target, &size, &operation), 1);
      if (operation == wanted) ++number;
    }
    return number;
  }

  void Round(unsigned int seed);

  SmallStore store;
  unsigned int total = 0;
};

INSTANTIATE_TEST_SUITE_P(AllWays, RandomSync,
                         testing::Combine(testing::Bool(), testing::Bool(), testing::Values(0, 1, 2)));

void RandomSync::Round(unsigned int seed) {
  std::mt19937 random(seed);
  for (const fs::path& side : {Source(), Target()}) fs::remove_all(side);
  const Node source = RandomTree(random, 2);
  Node target;
  fs::create_directories(Source());
  Write(source, Source());
  if (random() % 8 != 0) {
    target = RandomTree(random, 2);
    DropTwins(target);  // of two that have to go the first bars the other's deletion, and which is first
                        // nobody knows
    fs::create_directories(Target());
    Write(target, Target());
  }
  const int exclude = random() % 2 == 0 ? 0 : static_cast<int>(random() % 8);
  SyncModel model = {Policy(), !Zips(), exclude};
  model.Apply(source, target);

  Plan(exclude);
  EXPECT_EQ(Planned(SYNC_DIR_FILE_COPY), model.copied);
  unsigned int told = 0;
  const auto tell = [](char* /*path*/, unsigned int size, void* sum) {
    *static_cast<unsigned int*>(sum) += size;
  };
  EXPECT_EQ(store.opr.SyncDirSyncronize(tell, &told), model.failed == 0 ? 0 : Zips() ? 28 : 22);
  EXPECT_EQ(told, total);
  EXPECT_EQ(Differences(SnapshotOf(Target()), SnapshotOf(target)), "");
  EXPECT_EQ(Differences(SnapshotOf(Source()), SnapshotOf(source)), "");

  Plan(exclude);
  EXPECT_EQ(Planned(SYNC_DIR_FILE_DELETE), 0);
  // A packed copy has a new time, so by time it is planned again.
  if (Policy() != 2 || !Zips()) {
    EXPECT_EQ(Planned(SYNC_DIR_FILE_COPY), model.failed);
  }
  store.opr.SyncPlanDrop();
}

TEST_P(RandomSync, MakesTheTargetWhatThePolicySays) {
  const Snapshot tmp = SnapshotOf(store.folder.Host("tmp"));
  for (unsigned int seed = 1; seed <= static_cast<unsigned int>(Rounds(30)); ++seed) {
    Round(seed);
    if (HasFailure()) FAIL() << "seed " << seed;
  }
  EXPECT_EQ(SnapshotOf(store.folder.Host("tmp")), tmp);
}

}  // namespace
