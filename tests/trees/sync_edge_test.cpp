#include "directory/small_store.h"
#include "platform/host_path.h"
#include "support/faults.h"
#include "support/tree.h"

namespace {

using Names = std::vector<string>;

// The folder d of the store is synchronized from that of the working directory.
class SyncEdge : public testing::Test {
 protected:
  SyncEdge() : store("FileCompare=HASH\nZipOnTransfert=0\n") {}

  int Plan() { return store.opr.SyncDirOpenPutRemote(Arg("d"), Arg("*.*"), &total); }
  int Work() { return store.opr.SyncDirSyncronize(nullptr, nullptr); }
  int PlanAndWork() { return Plan() == 0 ? Work() : -1; }
  void Create(const string& description) { ::Create(store.folder, description); }
  [[nodiscard]] Tree TreeIn(const char* name) const { return TreeOf(store.folder.Host(name)); }

  SmallStore store;
  unsigned int total = 0;
};

// Names that differ only in case are counterparts for deletions, but different files for copies. A name that
// no path can express has no counterpart.
TEST_F(SyncEdge, UnusualNamesDeleteNothing) {
  Create(R"(work/d/NAME=upper work/d/back\slash= root/d/name=lower root/d/other\slash=stays)");
  EXPECT_EQ(PlanAndWork(), 0);
  EXPECT_EQ(TreeIn("root/d"), Described(R"(NAME=upper name=lower other\slash=stays)"));
}

// Of two such names without a counterpart, one is deleted in each run, because the entry of the first is
// found for the other.
TEST_F(SyncEdge, NamesThatDifferInCaseAreProcessedInTurn) {
  Create("work/d/ root/d/x=x root/d/X=x");
  for (const std::size_t left : {1U, 0U}) {
    EXPECT_EQ(PlanAndWork(), 0);
    EXPECT_EQ(store.folder.Tree("root/d").size(), left);
  }
}

TEST_F(SyncEdge, FollowsLinksOfSourceWithoutLoops) {
  Create("outside/o=o work/d/sub/f=f work/d/sub/up>.. work/d/sub/again>../../d");
  Create("work/d/out>../../outside work/d/file>sub/f");
  EXPECT_EQ(PlanAndWork(), 0);
  EXPECT_EQ(TreeIn("root/d"), Described("file=f out/o=o sub/f=f"));
  Create("work/d/dangling>nowhere");
  EXPECT_EQ(PlanAndWork(), 22) << "the others are in place";
  EXPECT_FALSE(store.folder.Exists("root/d/dangling"));
}

// At any depth, and even if a folder of the target was replaced by a link after planning.
TEST_F(SyncEdge, DeletesNothingThroughLinksOfTarget) {
  Create("outside/precious=p outside/sub/precious=p work/d/kept/new=n work/d/kept/sub/new=n");
  Create("work/d/swapped/sub/new=n root/d/swapped/precious=p root/d/swapped/sub/precious=p");
  Create("root/d/gone>../../outside root/d/dangling>nowhere root/d/up>.. root/d/kept>../../outside");
  ASSERT_EQ(Plan(), 0);
  const char* in_folder = nullptr;
  const char* left_out = nullptr;
  TVL_LEFT_OUT reason = TVL_LEFT_OUT_NOT;
  int in_target = 0;
  ASSERT_EQ(store.opr.SyncPlanLeftOut(0, &in_folder, &left_out, &reason, &in_target), 1);
  EXPECT_EQ(in_folder + string("\\") + left_out, store.folder.Logical("root/d/up"));
  EXPECT_TRUE(reason == TVL_LEFT_OUT_LEADS_BACK && in_target == 1);
  EXPECT_EQ(store.opr.SyncPlanLeftOut(1, &in_folder, &left_out, &reason, &in_target), 0);
  fs::remove_all(store.folder.Host("root/d/swapped"));
  Create("root/d/swapped>../../outside");
  EXPECT_EQ(Work(), 0);
  EXPECT_EQ(TreeIn("root/d"), Described("kept>../../outside swapped>../../outside up>.."));
  EXPECT_EQ(TreeIn("outside"), Described("new=n precious=p sub/new=n sub/precious=p"));
}

struct Planned {
  string target;
  SYNC_DIR_FILE_OPERATION operation;
};

std::vector<Planned> EntriesOf(const CTVLClientSmbOpr& opr) {
  std::vector<Planned> entries(static_cast<std::size_t>(opr.SyncPlanCount()));
  for (int index = 0; index < opr.SyncPlanCount(); ++index) {
    const char* source = nullptr;
    const char* target = nullptr;
    unsigned int size = 0;
    Planned& entry = entries[static_cast<std::size_t>(index)];
    EXPECT_EQ(opr.SyncPlanEntry(index, &source, &target, &size, &entry.operation), 1);
    entry.target = target;
    std::replace(entry.target.begin(), entry.target.end(), '\\', '/');
  }
  return entries;
}

// Whichever call fails, each entry has a result, and a result of 0 is correct.
TEST_F(SyncEdge, ReportsFailingCallsPerEntry) {
  for (const int kind : {0, 1, 2, 3}) {
    const auto span = kind % 2 == 0 ? Faults::Span::kOne : Faults::Span::kFromThereOn;
    store.Configure(string("FileCompare=HASH\nZipOnTransfert=0\nSafeOnTransfert=") +
                    (kind < 2 ? "0\n" : "2\n"));
    ASSERT_EQ(store.Open(), 0);
    int at = 0;
    do {
      for (const char* name : {"work/d", "root/d"}) fs::remove_all(store.folder.Host(name));
      Create("work/d/a=contents work/d/sub/b=contents work/d/same=contents");
      Create("root/d/same=contents root/d/old/c=contents");
      const Tree source = TreeIn("work/d");
      int code = 0;
      const std::vector<Planned> entries = WithFault(++at, EIO, span, [&] {
        Plan();
        std::vector<Planned> planned = EntriesOf(store.opr);
        code = Work();
        return planned;
      });
      const bool hit = Faults::Hit() != nullptr;
      SCOPED_TRACE((hit ? Faults::Hit() : "no fault") + std::to_string(at));
      EXPECT_EQ(TreeIn("work/d"), source);
      EXPECT_EQ(store.folder.Read("root/d/same"), "contents");
      for (std::size_t index = 0; index < entries.size(); ++index) {
        int result = -1;
        ASSERT_EQ(store.opr.SyncPlanResult(static_cast<int>(index), &result), 1);
        const auto operation = entries[index].operation;
        EXPECT_TRUE(code != 0 || result == 0 || operation != SYNC_DIR_FILE_COPY) << "a copy failed";
        if (result != 0) continue;
        EXPECT_TRUE(operation != SYNC_DIR_FILE_DELETE || !fs::exists(entries[index].target));
        EXPECT_TRUE(operation != SYNC_DIR_FILE_COPY || fs::file_size(entries[index].target) == 8);
      }
      EXPECT_TRUE(hit || TreeIn("root/d") == source);
    } while (Faults::Hit() != nullptr);
  }
}

TEST_F(SyncEdge, CopiesFilesAsTheyAreAfterPlanning) {
  Create("work/d/vanishes=before work/d/grows=before work/d/shrinks=before work/d/sub/x=before");
  Create("root/d/extra/x=e");
  ASSERT_EQ(Plan(), 0);
  EXPECT_EQ(total, 24U);
  fs::remove(store.folder.Host("work/d/vanishes"));
  store.folder.Write("work/d/grows", string(200000, 'g'));
  store.folder.Write("work/d/shrinks", "");
  for (const char* name : {"root/d/extra", "root/d/sub"}) fs::remove_all(store.folder.Host(name));
  EXPECT_EQ(Work(), 22);
  EXPECT_EQ(TreeIn("root/d"), Described("grows=" + string(200000, 'g') + " shrinks="));
  EXPECT_EQ(PlanAndWork(), 0);
  EXPECT_EQ(TreeIn("root/d"), TreeIn("work/d"));
}

// An unreadable source must not cause deletions in the target.
TEST_F(SyncEdge, UnreadableSourceFailsAndDeletesNothing) {
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
  const uid_t user = geteuid();
  if (user == 0 && seteuid(65534) != 0) FAIL();
  EXPECT_EQ(PlanAndWork(), 22);
  ASSERT_EQ(seteuid(user), 0);
  fs::permissions(store.folder.Host("work/d/closed"), fs::perms(0777));
  EXPECT_EQ(TreeIn("root/d"), Described("closed/x=root/ fine=work/ file=root/ listless/x=root/"));
}

TEST_F(SyncEdge, TargetInsideSourceEnds) {
  Create("work/d/f=f root/d>../work/d");
  EXPECT_EQ(PlanAndWork(), 0) << "both are one folder";
  EXPECT_EQ(TreeIn("work/d"), Described("f=f"));
  fs::remove(store.folder.Host("root/d"));
  Create("work/d/inside/ root/d>../work/d/inside");
  PlanAndWork();
  EXPECT_EQ(store.folder.Read("work/d/f"), "f");
}

// The path of one side is so much longer than that of the other that entries fit on one side only.
TEST(LongSync, CounterpartOfTooLongPathIsNeverDeleted) {
  for (std::size_t length = 244; length < tvl::kMaxPath; ++length) {
    SmallStore store("FileCompare=HASH\nZipOnTransfert=0\n");
    string deep = "d";
    while (store.folder.Host("work/" + deep).size() + 60 < length) deep += "/" + string(50, 'e');
    deep += "/" + string(length - store.folder.Host("work/" + deep).size() - 1, 'f');
    for (const char* name : {"/x", "/name that is longer", "/sub/y"}) {
      store.folder.Write("work/" + deep + name, "deep");
      store.folder.Write(string("root/t") + name, "flat");
    }
    const bool fits = length + 4 <= 259;  // an entry with a name of one byte
    unsigned int total = 0;
    EXPECT_EQ(store.opr.SyncDirOpenPutRemote(Arg("t"), Arg(deep), Arg("*.*"), &total), 0);
    EXPECT_EQ(store.opr.SyncDirSyncronize(nullptr, nullptr), 22) << length;
    const Tree flat = TreeOf(store.folder.Host("root/t"));
    EXPECT_EQ(flat.size(), 4U) << length;
    EXPECT_EQ(flat.at("name that is longer"), "file flat") << length;
    EXPECT_EQ(flat.at("x"), fits ? "file deep" : "file flat") << length;
    // In the other direction, entries that fit are deleted, and those that do not fit are kept.
    fs::remove(store.folder.Host("root/t/x"));
    EXPECT_EQ(store.opr.SyncDirOpenGetRemote(Arg("t"), Arg(deep), Arg("*.*"), &total), 0);
    EXPECT_EQ(store.opr.SyncDirSyncronize(nullptr, nullptr), 22) << length;
    const Tree back = TreeOf(store.folder.Host("work/" + deep));
    EXPECT_EQ(back.at("name that is longer"), "file deep") << length;
    EXPECT_EQ(back.count("x"), fits ? 0U : 1U) << length;
  }
}

}  // namespace
