#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "base/low_file.h"
#include "directory/small_store.h"
#include "trees/snapshot.h"

namespace {

using std::string;

// A file of the store, held as a living client holds its marker.
class HeldInTheStore : public testing::TestWithParam<const char*> {
 protected:
  HeldInTheStore() : store(string("ZipOnTransfert=") + GetParam() + "\n") {
    store.folder.Write("root/d/held", "held");
    store.folder.Write("root/d/free", "free");
    store.folder.Write("root/other", "other");
    store.folder.Write("work/d/held", "mine, of another size");
    held = LowOpen(store.folder.Logical("root/d/held").c_str(), kLowReadWrite);
    LowLock(held, 1, 0);
  }
  ~HeldInTheStore() override {
    LowLock(held, 0, 0);  // a second time does nothing
    LowClose(held);
  }

  SmallStore store;
  HANDLE held;
};

INSTANTIATE_TEST_SUITE_P(PlainAndPacked, HeldInTheStore, testing::Values("0", "1"));

TEST_P(HeldInTheStore, NothingReplacesMovesOrRemovesIt) {
  CTVLClientSmbOpr& o = store.opr;
  const Snapshot before = SnapshotOf(store.folder.Host("root"));
  EXPECT_EQ(o.RenameServerFile(Arg("d/held"), Arg("moved")), 20);
  EXPECT_EQ(o.RenameServerFile(Arg("other"), Arg("d/held")), 20);
  EXPECT_EQ(o.CopyServer2Server(Arg("other"), Arg("d/held"), 0), 22);
  EXPECT_EQ(o.CopyLocalFile2RemoteFile(Arg(store.folder.Logical("work/d/held")), Arg("d/held")), 22);
  EXPECT_EQ(o.CopyServerDir2ServerDir(Arg("other"), Arg("d/held"), nullptr, nullptr), 22);
  store.folder.Write("work/d/held", "mine again: the mirror was moved");
  unsigned int total = 0;
  EXPECT_EQ(o.SyncDirOpenPutRemote(Arg("d"), Arg("d"), Arg("held"), SYNC_DIR_FILE_EXCLUDE_NONE, &total), 0);
  EXPECT_EQ(o.SyncDirSyncronize(nullptr, nullptr), o.ZipOnTransfert() == 0 ? 22 : 28);
  EXPECT_EQ(SnapshotOf(store.folder.Host("root")), before);
  std::filesystem::remove(store.folder.Host("work/d/held"));
  EXPECT_EQ(o.SyncDirOpenPutRemote(Arg("d"), Arg("held"), &total), 0);
  EXPECT_EQ(o.SyncPlanCount(), 2);
  EXPECT_EQ(o.SyncDirSyncronize(nullptr, nullptr), 0) << "what can't be deleted stays, and nobody is told";
  EXPECT_EQ(SnapshotOf(store.folder.Host("root")), before);
  // As a source it is a file like any other.
  EXPECT_EQ(o.CopyServer2Server(Arg("d/held"), Arg("copy"), 0), 0);
  EXPECT_EQ(store.folder.Read("root/copy"), "held");
  EXPECT_EQ(o.DeleteServerFile(Arg("d/held")), 20);
  EXPECT_EQ(o.DeleteServerDir(Arg("d")), 23);
  EXPECT_EQ(store.folder.Read("root/d/held"), "held");
  LowLock(held, 0, 0);
  EXPECT_EQ(o.DeleteServerDir(Arg("d")), 0);
  EXPECT_FALSE(store.folder.Exists("root/d"));
}

}  // namespace
