#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "directory/small_store.h"
#include "platform/host_path.h"
#include "trees/snapshot.h"

namespace {

namespace fs = std::filesystem;
using std::string;
using Names = std::vector<string>;

// The store's folder d is made of the working directory's.
class SyncEdge : public testing::Test {
 protected:
  explicit SyncEdge() : store("FileCompare=HASH\nZipOnTransfert=0\n") {}

  int Plan() {
    return store.opr.SyncDirOpenPutRemote(Arg("d"), Arg("d"), Arg("*.*"), SYNC_DIR_FILE_EXCLUDE_NONE, &total);
  }
  int Work() { return store.opr.SyncDirSyncronize(nullptr, nullptr); }
  int PlanAndWork() { return Plan() == 0 ? Work() : -1; }
  void Link(const string& target, const string& name) { fs::create_symlink(target, store.folder.Host(name)); }

  SmallStore store;
  unsigned int total = 0;
};

TEST_F(SyncEdge, TakesNamesOfAllKinds) {
  for (const string& name :
       {string(" blank "), string(".dot"), string("..."), string("*"), string("?"), string("a|b"),
        string("\xE0\xFF"), string("Same"), string("same"), string("new\nline"), string(255 - 60, 'n')}) {
    store.folder.Write("work/d/" + name, name);
    store.folder.Write("work/d/f" + name + "/x", name);
  }
  const Snapshot expected = SnapshotOf(store.folder.Host("work/d"));
  store.folder.Write("work/d/back\\slash", "");
  store.folder.Write("root/d/other\\slash", "stays");
  EXPECT_EQ(PlanAndWork(), 0);
  Snapshot result = SnapshotOf(store.folder.Host("root/d"));
  EXPECT_EQ(result.erase("other\\slash"), 1U) << "a name that no path can say is nobody's partner";
  EXPECT_EQ(result, expected);
}

// Names alike but for case are partners where deletion is asked, and files of their own where copying is.
TEST_F(SyncEdge, CaseAloneDeletesNothing) {
  store.folder.Write("work/d/NAME", "upper");
  store.folder.Write("root/d/name", "lower");
  EXPECT_EQ(PlanAndWork(), 0);
  EXPECT_EQ(SnapshotOf(store.folder.Host("root/d")),
            (Snapshot{{"NAME", "file upper"}, {"name", "file lower"}}));
}

// Of two such names without a partner one goes in each run: the entry of the first is found for the other.
TEST_F(SyncEdge, NamesAlikeButForCaseGoOneAfterTheOther) {
  store.folder.Make("work/d");
  for (const char* name : {"root/d/x", "root/d/X"}) store.folder.Write(name, "x");
  for (const std::size_t left : {1U, 0U}) {
    EXPECT_EQ(PlanAndWork(), 0);
    EXPECT_EQ(store.folder.Tree("root/d").size(), left);
  }
}

TEST_F(SyncEdge, LinksOfTheSourceAreFollowedAndEnd) {
  store.folder.Write("outside/o", "o");
  store.folder.Write("work/d/sub/f", "f");
  Link("..", "work/d/sub/up");
  Link("../../d", "work/d/sub/again");
  Link("../../outside", "work/d/out");
  Link("sub/f", "work/d/file");
  EXPECT_EQ(PlanAndWork(), 0);
  EXPECT_EQ(
      SnapshotOf(store.folder.Host("root/d")),
      (Snapshot{
          {"file", "file f"}, {"out", "dir"}, {"out/o", "file o"}, {"sub", "dir"}, {"sub/f", "file f"}}));
  Link("nowhere", "work/d/dangling");
  EXPECT_EQ(PlanAndWork(), 22) << "the others are in place";
  EXPECT_FALSE(store.folder.Exists("root/d/dangling"));
}

TEST_F(SyncEdge, LinksOfTheTargetGoAloneAndNothingIsDeletedBehindThem) {
  store.folder.Write("outside/precious", "p");
  store.folder.Write("work/d/kept/new", "n");
  store.folder.Make("root/d");
  Link("../../outside", "root/d/gone");
  Link("nowhere", "root/d/dangling");
  Link("..", "root/d/up");
  Link("../../outside", "root/d/kept");
  EXPECT_EQ(PlanAndWork(), 0);
  EXPECT_EQ(SnapshotOf(store.folder.Host("root/d")),
            (Snapshot{{"kept", "link ../../outside"}, {"up", "link .."}}));
  EXPECT_EQ(SnapshotOf(store.folder.Host("outside")), (Snapshot{{"new", "file n"}, {"precious", "file p"}}));
}

TEST_F(SyncEdge, VanishedAndGrownFilesAndUnreachableTargets) {
  for (const char* name : {"work/d/vanishes", "work/d/grows", "work/d/shrinks", "work/d/sub/x"})
    store.folder.Write(name, "before");
  store.folder.Write("root/d/extra/x", "e");
  ASSERT_EQ(Plan(), 0);
  EXPECT_EQ(total, 24U);
  fs::remove(store.folder.Host("work/d/vanishes"));
  store.folder.Write("work/d/grows", string(200000, 'g'));
  store.folder.Write("work/d/shrinks", "");
  fs::remove_all(store.folder.Host("root/d/extra"));
  fs::remove_all(store.folder.Host("root/d/sub"));
  EXPECT_EQ(Work(), 22);
  EXPECT_EQ(SnapshotOf(store.folder.Host("root/d")),
            (Snapshot{{"grows", "file " + string(200000, 'g')}, {"shrinks", "file "}}));
  EXPECT_EQ(PlanAndWork(), 0);
  EXPECT_EQ(SnapshotOf(store.folder.Host("root/d")), SnapshotOf(store.folder.Host("work/d")));
}

TEST_F(SyncEdge, AnEntryTakenOutStaysAsItIs) {
  store.folder.Write("work/d/new", "n");
  store.folder.Write("root/d/old", "o");
  ASSERT_EQ(Plan(), 0);
  for (int i = 0; i < store.opr.SyncPlanCount(); ++i) EXPECT_EQ(store.opr.SyncPlanTakeOut(i), 1);
  EXPECT_EQ(Work(), 0);
  EXPECT_EQ(store.folder.Tree("root/d"), Names{"old"});
}

// What another user may read of a tree: none of what he may not.
class AsNobody {
 public:
  AsNobody() : changed_(geteuid() == 0 && seteuid(65534) == 0) {}
  ~AsNobody() {
    if (changed_ && seteuid(0) != 0) std::abort();
  }
  AsNobody(const AsNobody&) = delete;
  AsNobody& operator=(const AsNobody&) = delete;

 private:
  bool changed_;
};

// A source that could not be read says nothing about what the target should lose.
TEST_F(SyncEdge, WhatCannotBeReadFailsAndCostsTheTargetNothing) {
  for (const char* side : {"work/", "root/"}) {
    for (const char* name : {"d/closed/x", "d/listless/x", "d/file", "d/fine"})
      store.folder.Write(string(side) + name, side);
  }
  store.folder.Write("root/d/extra", "e");
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(store.folder.Host()))
    fs::permissions(entry, fs::perms(0777));
  fs::permissions(store.folder.Host(), fs::perms(0777));
  fs::permissions(store.folder.Host("work/d/closed"), fs::perms(0000));
  fs::permissions(store.folder.Host("work/d/listless"), fs::perms(0311));
  fs::permissions(store.folder.Host("work/d/file"), fs::perms(0200));
  {
    const AsNobody nobody;
    EXPECT_EQ(PlanAndWork(), 22);
  }
  EXPECT_EQ(SnapshotOf(store.folder.Host("root/d")), (Snapshot{{"closed", "dir"},
                                                               {"closed/x", "file root/"},
                                                               {"fine", "file work/"},
                                                               {"file", "file root/"},
                                                               {"listless", "dir"},
                                                               {"listless/x", "file root/"}}));
  fs::permissions(store.folder.Host("work/d/closed"), fs::perms(0777));
}

TEST_F(SyncEdge, ATargetInsideItsSourceEnds) {
  store.folder.Write("work/d/f", "f");
  Link("../work/d", "root/d");
  EXPECT_EQ(PlanAndWork(), 0) << "both are one folder";
  EXPECT_EQ(SnapshotOf(store.folder.Host("work/d")), (Snapshot{{"f", "file f"}}));
  fs::remove(store.folder.Host("root/d"));
  fs::create_directory(store.folder.Host("work/d/inside"));
  Link("../work/d/inside", "root/d");
  PlanAndWork();
  EXPECT_EQ(store.folder.Read("work/d/f"), "f");
}

// One side's path is longer than the other's by so much that entries fit on one of them only.
class LongSync : public testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(GetAndPut, LongSync, testing::Bool());

TEST_P(LongSync, APartnerThatDoesNotFitIsNeverDeleted) {
  for (std::size_t length = 244; length < tvl::kMaxPath; ++length) {
    SmallStore store("FileCompare=HASH\nZipOnTransfert=0\n");
    const string shared = GetParam() ? "root/" : "work/";
    const string side = GetParam() ? "work/" : "root/";
    string deep = "d";
    while (store.folder.Host(side + deep).size() + 60 < length) deep += "/" + string(50, 'e');
    const std::size_t left = length - store.folder.Host(side + deep).size();
    deep += "/" + string(left - 1, 'f');
    for (const char* name : {"/x", "/name that is longer", "/sub/y"}) {
      store.folder.Write(side + deep + name, "source");
      store.folder.Write(shared + "t" + name, "target");
    }
    unsigned int total = 0;
    EXPECT_EQ(GetParam() ? store.opr.SyncDirOpenPutRemote(Arg("t"), Arg(deep), Arg("*.*"),
                                                          SYNC_DIR_FILE_EXCLUDE_NONE, &total)
                         : store.opr.SyncDirOpenGetRemote(Arg(deep), Arg("t"), Arg("*.*"),
                                                          SYNC_DIR_FILE_EXCLUDE_NONE, &total),
              0);
    EXPECT_EQ(store.opr.SyncDirSyncronize(nullptr, nullptr), 22) << length;
    const Snapshot result = SnapshotOf(store.folder.Host(shared + "t"));
    EXPECT_EQ(result.size(), 4U) << length;
    EXPECT_EQ(result.at("name that is longer"), "file target") << length;
    EXPECT_EQ(result.at("x"), length + 4 <= 259 ? "file source" : "file target") << length;
    // The other way round what fits is deleted and copied, what does not fit stays.
    fs::remove(store.folder.Host(shared + "t/x"));
    GetParam()
        ? store.opr.SyncDirOpenGetRemote(Arg("t"), Arg(deep), Arg("*.*"), SYNC_DIR_FILE_EXCLUDE_NONE, &total)
        : store.opr.SyncDirOpenPutRemote(Arg(deep), Arg("t"), Arg("*.*"), SYNC_DIR_FILE_EXCLUDE_NONE, &total);
    store.opr.SyncDirSyncronize(nullptr, nullptr);
    const Snapshot back = SnapshotOf(store.folder.Host(side + deep));
    EXPECT_EQ(back.at("name that is longer"), "file source") << length;
    EXPECT_EQ(back.count("x"), length + 4 <= 259 ? 0U : 1U) << length;
  }
}

}  // namespace
