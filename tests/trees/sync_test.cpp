#include "directory/small_store.h"
#include "support/tree.h"

namespace {

using Names = std::vector<string>;

// Returns the plan with a text per entry: the operation, and the name below the source, or below the target
// for deletions.
Names PlanOf(const SmallStore& store, const string& source, const string& target) {
  Names plan;
  for (int i = 0; i < store.opr.SyncPlanCount(); ++i) {
    const char* from = nullptr;
    const char* to = nullptr;
    unsigned int size = 0;
    SYNC_DIR_FILE_OPERATION operation = SYNC_DIR_FILE_KEEP;
    EXPECT_EQ(store.opr.SyncPlanEntry(i, &from, &to, &size, &operation), 1);
    const string below_source = string(from).substr(store.folder.Logical(source).size());
    const string below_target = string(to).substr(store.folder.Logical(target).size());
    EXPECT_EQ(below_source, below_target);
    plan.push_back("kdfc"[operation] + (size > 0 ? std::to_string(size) : "") + below_source);
  }
  return plan;
}

class Sync : public testing::TestWithParam<bool> {
 protected:
  Sync() : store("ZipOnTransfert=0\nFileCompare=HASH\n") {}

  [[nodiscard]] bool Puts() const { return GetParam(); }
  [[nodiscard]] string Source(const string& name = "") const { return (Puts() ? "work/" : "root/") + name; }
  [[nodiscard]] string Target(const string& name = "") const { return (Puts() ? "root/" : "work/") + name; }

  int Plan(const string& source = "d", const string& target = "d", const char* pattern = "*.*",
           int exclude = 0) {
    const auto flags = static_cast<SYNC_DIR_FILE_EXCLUDE>(exclude);
    return Puts() ? store.opr.SyncDirOpenPutRemote(Arg(target), Arg(source), Arg(pattern), flags, &total)
                  : store.opr.SyncDirOpenGetRemote(Arg(source), Arg(target), Arg(pattern), flags, &total);
  }
  // Create what is described, and return what is there, on either side.
  void CreateSource(const string& description) { Create(store.folder, Source("d/"), description); }
  void CreateTarget(const string& description) { Create(store.folder, Target("d/"), description); }
  [[nodiscard]] Tree SourceTree() const { return TreeOf(store.folder.Host(Source("d"))); }
  [[nodiscard]] Tree TargetTree() const { return TreeOf(store.folder.Host(Target("d"))); }

  int Work() { return store.opr.SyncDirSyncronize(nullptr, nullptr); }
  void Reopen(const string& settings) {
    store.Configure(settings);
    EXPECT_EQ(store.Open(), 0);
  }

  SmallStore store;
  unsigned int total = 0;
};

INSTANTIATE_TEST_SUITE_P(GetAndPut, Sync, testing::Bool());

TEST_P(Sync, PlansInOrderAndCarriesOutPlan) {
  CreateSource("same=s sub/new=1234 changed=after made/");
  CreateTarget("same=s sub/old=o gone/x=x changed=before");
  EXPECT_EQ(Plan(), 0);
  EXPECT_EQ(total, 9U);
  EXPECT_TRUE(store.folder.Exists(Target("d/made"))) << "missing folders are made while planning";
  Names plan = PlanOf(store, Source("d"), Target("d"));
  EXPECT_EQ(plan.front(), "f");
  EXPECT_EQ(plan.back(), "d\\gone") << "after all entries of the source";
  const auto sub = std::find(plan.begin(), plan.end(), "f\\sub");
  ASSERT_LT(plan.end() - sub, 9);
  EXPECT_EQ(Names(sub, sub + 3), (Names{"f\\sub", "c4\\sub\\new", "d\\sub\\old"}))
      << "the entries of a subfolder are adjacent";
  std::sort(plan.begin(), plan.end());
  EXPECT_EQ(plan, (Names{"c4\\sub\\new", "c5\\changed", "d\\gone", "d\\sub\\old", "f", "f\\made", "f\\sub",
                         "k\\same"}));
  Names reported;
  const auto report = [](char* path, unsigned int size, void* names) {
    static_cast<Names*>(names)->push_back(path + string(":") + std::to_string(size));
  };
  EXPECT_EQ(store.opr.SyncDirSyncronize(report, &reported), 0);
  std::sort(reported.begin(), reported.end());
  EXPECT_EQ(reported, (Names{store.folder.Logical(Source("d/changed:5")),
                             store.folder.Logical(Source("d/sub/new:4"))}));
  EXPECT_EQ(TargetTree(), SourceTree());
  EXPECT_EQ(store.opr.SyncPlanCount(), 0);
  reported.clear();
  EXPECT_EQ(store.opr.SyncDirSyncronize(report, &reported), 0) << "an empty list";
  EXPECT_EQ(reported, Names());
}

TEST_P(Sync, PatternsAndExclusionsActOnEveryLevel) {
  CreateSource("a.txt=1 b.doc=1 c.PDF=1 s.txt/e.txt=1 s.txt/f.mdb=1 s/g.txt=1 h.pdf/i=1");
  CreateTarget("o.txt=2 o.doc=2 o.pdf=2 s.txt/o.txt=2 s.txt/o=2 os/x.txt=2");
  const std::tuple<const char*, int, Names> rows[] = {
      {"*.txt", 0, {"c1\\a.txt", "c1\\s.txt\\e.txt", "d\\o.txt", "d\\s.txt\\o.txt", "f", "f\\s.txt"}},
      {"*.*",
       7,
       {"c1\\a.txt", "c1\\s.txt\\e.txt", "c1\\s\\g.txt", "d\\o.txt", "d\\os", "d\\s.txt\\o",
        "d\\s.txt\\o.txt", "f", "f\\s", "f\\s.txt"}},
      {"?.pdf", 3, {"c1\\c.PDF", "d\\o.pdf", "f", "f\\h.pdf"}},
      {"none", 0, {"f"}},
  };
  store.opr.SyncPlanFoldersLater(1);
  for (const auto& [pattern, exclude, expected] : rows) {
    EXPECT_EQ(Plan("d", "d", pattern, exclude), 0);
    Names plan = PlanOf(store, Source("d"), Target("d"));
    std::sort(plan.begin(), plan.end());
    EXPECT_EQ(plan, expected) << pattern << exclude;
    store.opr.SyncPlanDrop();
  }
}

TEST_P(Sync, ReportsPlanningFailures) {
  store.folder.Write(Source("file"), "f");
  const string endless(300, 'x');
  for (const string& name : {string("none"), string("file"), string("none/below"), endless})
    EXPECT_EQ(Plan(name, name), 18) << name;
  EXPECT_EQ(Plan("", endless), 18);
  EXPECT_EQ(store.opr.SyncPlanCount(), 0);
  EXPECT_TRUE(store.folder.Exists(Target("none"))) << "the levels above the target stay";
  EXPECT_EQ(total, 0U);
}

TEST_P(Sync, DroppedPlanLeavesNoFoldersWithFoldersLater) {
  CreateSource("sub/f=f empty/");
  const Tree before = TreeOf(store.folder.Host());
  store.opr.SyncPlanFoldersLater(1);
  for (const char* target : {"e", "new/e"}) EXPECT_EQ(Plan("d", target), 0);
  store.opr.SyncPlanDrop();
  EXPECT_EQ(TreeOf(store.folder.Host()), before);
  EXPECT_EQ(Plan("d", "new/e"), 0);
  EXPECT_EQ(Work(), 0);
  EXPECT_EQ(TreeOf(store.folder.Host(Target("new/e"))), SourceTree());
  store.opr.SyncPlanFoldersLater(0);
  EXPECT_EQ(Plan("d", "now/e"), 0);
  EXPECT_TRUE(store.folder.Exists(Target("now/e/empty")));
}

TEST_P(Sync, ShortFormsTakeOneNameOrRoot) {
  Create(store.folder, Source(), "x/a.txt=1 x/b.doc=22");
  CTVLClientSmbOpr& o = store.opr;
  constexpr auto kDocuments = SYNC_DIR_FILE_EXCLUDE_DOCUMENT;
  Puts() ? o.SyncDirOpenPutRemote(Arg("x"), Arg("x"), kDocuments, &total)
         : o.SyncDirOpenGetRemote(Arg("x"), Arg("x"), kDocuments, &total);
  EXPECT_EQ(total, 1U);
  Puts() ? o.SyncDirOpenPutRemote(Arg("x"), Arg("*.*"), &total)
         : o.SyncDirOpenGetRemote(Arg("x"), Arg("*.*"), &total);
  EXPECT_EQ(total, 1U + 3U);
  Puts() ? o.SyncDirOpenPutRemote(Arg("y"), Arg("x"), Arg("*.doc"), &total)
         : o.SyncDirOpenGetRemote(Arg("x"), Arg("y"), Arg("*.doc"), &total);
  EXPECT_EQ(total, 1U + 3U + 2U);
  o.SyncPlanDrop();
  EXPECT_EQ(Plan("", ""), 0);
  EXPECT_EQ(Work(), 0);
  EXPECT_EQ(store.folder.Read(Target("x/b.doc")), "22");
}

TEST_P(Sync, PlansAddUpAndOutliveTheConnection) {
  Create(store.folder, Source(), "a/f=123 b/g=4567");
  EXPECT_EQ((Codes{Plan("a", "a"), Plan("b", "b")}), Codes(2));
  EXPECT_EQ(total, 7U);
  store.opr.Close();
  EXPECT_EQ(store.opr.SyncPlanCount(), 4);
  EXPECT_EQ(Work(), 0);
  EXPECT_EQ(store.folder.Read(Target("a/f")) + store.folder.Read(Target("b/g")), "1234567");
}

TEST_P(Sync, DumbModeDoesNothing) {
  store.folder.Write("root/d/f", "f");
  ASSERT_EQ(store.Open("root"), 0);
  EXPECT_EQ((Codes{Plan("d", "e"), Work(), store.opr.SyncPlanCount()}), Codes(3));
  EXPECT_EQ(store.folder.Tree("root"), (Names{"d", "d/f"}));
}

// Without a comparison only the files of new folders are copied.
TEST_P(Sync, DumbPolicyKeepsExistingFiles) {
  Reopen("FileCompare=dumb\nZipOnTransfert=0\n");
  CreateSource("missing=m new/f=f");
  CreateTarget("extra=e");
  EXPECT_EQ(Plan(), 0);
  EXPECT_EQ(Work(), 0);
  EXPECT_EQ(TargetTree(), Described("new/f=f"));
}

// Covers vanishing files, and a file on one side and a folder on the other: all other entries are
// synchronized.
TEST_P(Sync, ReturnsLastFailure) {
  for (const bool zip : {false, true}) {
    Reopen(string("FileCompare=time\nZipOnTransfert=") + (zip ? "1\n" : "0\n"));
    CreateSource("1=one 2=two 3=three folder/4=four");
    CreateTarget("3/kept=k folder=file");
    EXPECT_EQ(Plan(), 0);
    fs::remove(store.folder.Host(Source("d/2")));
    int reported = 0;
    const int code = store.opr.SyncDirSyncronize(
        [](char*, unsigned int, void* count) { ++*static_cast<int*>(count); }, &reported);
    EXPECT_TRUE(zip ? code == 27 || code == 28 : code == 22) << code;
    EXPECT_EQ(reported, 4) << "failed copies are reported too";
    EXPECT_EQ(TargetTree(), Described("1=one 3/kept=k folder=file"));
    fs::remove_all(store.folder.Host(Target("d")));
  }
}

}  // namespace
