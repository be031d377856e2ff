#include <chrono>
#include <random>

#include "directory/small_store.h"
#include "support/scale.h"
#include "support/tree.h"

namespace {

// Uses few names, lengths, bytes and times, so that two trees often have them in common.
void MakeRandomTree(std::mt19937& random, const fs::path& folder, int depth) {
  fs::create_directories(folder);
  for (const char* name : {"a.txt", " b .pdf", ".c\xE0\xFF"}) {
    if (random() % 3 == 0) continue;
    std::ofstream(folder / name) << string(random() % 3, static_cast<char>('x' + random() % 2));
    fs::last_write_time(folder / name, fs::file_time_type(std::chrono::seconds(random() % 2)));
  }
  for (const char* name : {"d", "..e"}) {
    if (depth > 0 && random() % 2 == 0) MakeRandomTree(random, folder / name, depth - 1);
  }
}

// The parameters are direction, compression and policy.
class RandomSync : public testing::TestWithParam<std::tuple<bool, bool, bool>> {
 protected:
  RandomSync()
      : store(string("FileCompare=") + (ByTime() ? "time" : "HASH") +
                  "\nZipOnTransfert=" + (Packs() ? "1\n" : "0\n"),
              TempFolder::Memory()) {}

  [[nodiscard]] static bool Puts() { return std::get<0>(GetParam()); }
  [[nodiscard]] static bool Packs() { return std::get<1>(GetParam()); }
  [[nodiscard]] static bool ByTime() { return std::get<2>(GetParam()); }
  [[nodiscard]] fs::path Source() const { return store.folder.Host(Puts() ? "work/t" : "root/t"); }
  [[nodiscard]] fs::path Target() const { return store.folder.Host(Puts() ? "root/t" : "work/t"); }

  // Plans a synchronization. Returns the number of bytes to copy.
  unsigned int Plan() {
    unsigned int total = 0;
    EXPECT_EQ(Puts() ? store.opr.SyncDirOpenPutRemote(Arg("t"), Arg("*.*"), &total)
                     : store.opr.SyncDirOpenGetRemote(Arg("t"), Arg("*.*"), &total),
              0);
    return total;
  }

  // Returns the source, except for files whose difference the policy cannot detect.
  [[nodiscard]] Tree Expected() const {
    Tree expected = TreeOf(Source());
    for (auto& [name, what] : expected) {
      const fs::path source = Source() / name;
      const fs::path target = Target() / name;
      if (ByTime() && fs::is_regular_file(target) && fs::file_size(target) == fs::file_size(source) &&
          fs::last_write_time(target) == fs::last_write_time(source)) {
        what = TreeOf(Target()).at(name);
      }
    }
    return expected;
  }

  SmallStore store;
};

INSTANTIATE_TEST_SUITE_P(AllWays, RandomSync,
                         testing::Combine(testing::Bool(), testing::Bool(), testing::Bool()));

TEST_P(RandomSync, MakesTargetEqualToSource) {
  for (unsigned int seed = 1; seed <= static_cast<unsigned int>(Rounds(40)); ++seed) {
    std::mt19937 random(seed);
    for (const fs::path& side : {Source(), Target()}) fs::remove_all(side);
    MakeRandomTree(random, Source(), 2);
    if (seed % 8 != 0) MakeRandomTree(random, Target(), 2);
    const Tree source = TreeOf(Source());
    const Tree expected = Expected();
    Plan();
    EXPECT_EQ(store.opr.SyncDirSyncronize(nullptr, nullptr), 0);
    EXPECT_EQ(TreeOf(Target()), expected);
    EXPECT_EQ(TreeOf(Source()), source);
    // A compressed copy has a new time, so it is planned again with the policy by time.
    const unsigned int again = Plan();
    EXPECT_TRUE(again == 0 || (Packs() && ByTime())) << again;
    store.opr.SyncPlanDrop();
    if (HasFailure()) FAIL() << "seed " << seed;
  }
}

}  // namespace
