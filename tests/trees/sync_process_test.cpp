
#include <random>

#include "directory/small_store.h"
#include "support/helper_process.h"
#include "support/scale.h"
#include "support/tree.h"

namespace {

int Synchronise(CTVLClientSmbOpr& opr, ProgressCallback callback) {
  unsigned int total = 0;
  const int code =
      opr.SyncDirOpenPutRemote(Arg("t"), Arg("t"), Arg("*.*"), SYNC_DIR_FILE_EXCLUDE_NONE, &total);
  return code == 0 ? opr.SyncDirSyncronize(callback, nullptr) : code;
}

// Arguments: configuration, working directory. Synchronizes once for each line received; reports each file,
// then the code.
const Role kRole("synchronise", [](const std::vector<string>& arguments) {
  CTVLClientSmbOpr opr;
  if (opr.Open(Arg(arguments[1]), Arg(arguments[0]), Arg("test")) != 0) return 1;
  Say("ready");
  while (Listen() == "go") {
    const int code = Synchronise(opr, [](char*, unsigned int, void*) { Say("file"); });
    Say("code " + std::to_string(code));
  }
  return 0;
});

class SyncProcesses : public testing::TestWithParam<const char*> {
 protected:
  SyncProcesses() : store(GetParam(), TempFolder::Memory()) {}

  // Writes files of sizes at which the method of copying changes, with different bytes each time.
  void FillSource(unsigned int seed) {
    std::mt19937 random(seed);
    fs::remove_all(store.folder.Host("work/t"));
    for (int i = 0; i < 24; ++i) {
      const std::size_t size = i % 6 == 0 ? 500000 + random() % 100000 : random() % 9000;
      string bytes(size, 0);
      for (std::size_t at = 0; at < size; at += 1 + size / 64) bytes[at] = static_cast<char>(random());
      store.folder.Write("work/t/" + std::to_string(random() % 3) + "/" + std::to_string(i), bytes);
    }
  }

  HelperProcess Start() const {
    return HelperProcess({"synchronise", store.folder.Logical("store.ini"), store.folder.Logical("work")});
  }
  void ExpectEqualTrees(unsigned int round) {
    EXPECT_EQ(TreeOf(store.folder.Host("root/t")), TreeOf(store.folder.Host("work/t"))) << round;
  }

  SmallStore store;
};

INSTANTIATE_TEST_SUITE_P(PoliciesAndPacking, SyncProcesses,
                         testing::Values("FileCompare=HASH\nZipOnTransfert=0\n",
                                         "FileCompare=time\nZipOnTransfert=0\n",
                                         "FileCompare=HASH\nZipOnTransfert=1\n"));

string Code(HelperProcess& helper) {
  string line = helper.Hear();
  while (line == "file") line = helper.Hear();
  return line;
}

TEST_P(SyncProcesses, ConcurrentRunsConverge) {
  HelperProcess one = Start();
  HelperProcess other = Start();
  ASSERT_EQ(one.Hear() + other.Hear(), "readyready");
  for (unsigned int round = 0; round < static_cast<unsigned int>(Rounds(10)); ++round) {
    FillSource(round);
    for (HelperProcess* helper : {&one, &other}) helper->Say("go");
    const string codes = Code(one) + Code(other);
    // Two processes that write the same file may block each other for a moment; then the next run completes
    // it.
    if (codes != "code 0code 0") {
      EXPECT_EQ(Synchronise(store.opr, nullptr), 0) << codes;
    }
    ExpectEqualTrees(round);
  }
}

TEST_P(SyncProcesses, NextRunCompletesKilledOne) {
  for (unsigned int round = 0; round < static_cast<unsigned int>(Rounds(10)); ++round) {
    FillSource(round);
    HelperProcess helper = Start();
    ASSERT_EQ(helper.Hear(), "ready");
    helper.Say("go");
    for (unsigned int files = 0; files < 2 * round; ++files) {
      if (helper.Hear() != "file") break;
    }
    helper.Signal(SIGKILL);
    EXPECT_EQ(helper.Wait(), -SIGKILL);
    EXPECT_EQ(Synchronise(store.opr, nullptr), 0);
    ExpectEqualTrees(round);
  }
}

}  // namespace
