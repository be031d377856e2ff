#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "directory/small_store.h"
#include "trees/snapshot.h"

namespace {

namespace fs = std::filesystem;
using std::string;
using Names = std::vector<string>;

// The plan, an entry a text: operation and the name below the source, or the target for what goes.
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
  explicit Sync(const string& settings = "ZipOnTransfert=0\nFileCompare=HASH\n") : store(settings) {}

  [[nodiscard]] bool Puts() const { return GetParam(); }
  [[nodiscard]] string Source(const string& name = "") const { return (Puts() ? "work/" : "root/") + name; }
  [[nodiscard]] string Target(const string& name = "") const { return (Puts() ? "root/" : "work/") + name; }

  int Plan(const char* remote, const char* local, const char* pattern = "*.*", int exclude = 0) {
    const auto flags = static_cast<SYNC_DIR_FILE_EXCLUDE>(exclude);
    return Puts() ? store.opr.SyncDirOpenPutRemote(Arg(remote), Arg(local), Arg(pattern), flags, &total)
                  : store.opr.SyncDirOpenGetRemote(Arg(remote), Arg(local), Arg(pattern), flags, &total);
  }
  int Plan() { return Plan("d", "d"); }
  int Work() { return store.opr.SyncDirSyncronize(nullptr, nullptr); }

  SmallStore store;
  unsigned int total = 0;
};

INSTANTIATE_TEST_SUITE_P(GetAndPut, Sync, testing::Bool());

TEST_P(Sync, PlansInOrderAndWorksItOff) {
  store.folder.Write(Source("d/same"), "s");
  store.folder.Write(Target("d/same"), "s");
  store.folder.Write(Source("d/sub/new"), "1234");
  store.folder.Write(Target("d/sub/old"), "o");
  store.folder.Write(Target("d/gone/x"), "x");
  store.folder.Write(Source("d/changed"), "after");
  store.folder.Write(Target("d/changed"), "before");
  store.folder.Make(Source("d/made"));
  EXPECT_EQ(Plan(), 0);
  EXPECT_EQ(total, 9U);
  EXPECT_TRUE(store.folder.Exists(Target("d/made"))) << "missing folders are made while planning";
  Names plan = PlanOf(store, Source("d"), Target("d"));
  EXPECT_EQ(plan.front(), "f");
  EXPECT_EQ(plan.back(), "d\\gone") << "behind all entries of the source";
  const auto sub = std::find(plan.begin(), plan.end(), "f\\sub");
  ASSERT_LT(plan.end() - sub, 9);
  EXPECT_EQ(Names(sub, sub + 3), (Names{"f\\sub", "c4\\sub\\new", "d\\sub\\old"}))
      << "a subfolder's entries stand together";
  std::sort(plan.begin(), plan.end());
  EXPECT_EQ(plan, (Names{"c4\\sub\\new", "c5\\changed", "d\\gone", "d\\sub\\old", "f", "f\\made", "f\\sub",
                         "k\\same"}));
  Names told;
  const auto tell = [](char* path, unsigned int size, void* names) {
    static_cast<Names*>(names)->push_back(path + string(":") + std::to_string(size));
  };
  EXPECT_EQ(store.opr.SyncDirSyncronize(tell, &told), 0);
  std::sort(told.begin(), told.end());
  EXPECT_EQ(told, (Names{store.folder.Logical(Source("d/changed:5")),
                         store.folder.Logical(Source("d/sub/new:4"))}));
  EXPECT_EQ(SnapshotOf(store.folder.Host(Target("d"))), SnapshotOf(store.folder.Host(Source("d"))));
  EXPECT_EQ(store.opr.SyncPlanCount(), 0);
  told.clear();
  EXPECT_EQ(store.opr.SyncDirSyncronize(tell, &told), 0) << "an empty list";
  EXPECT_EQ(told, Names());
}

TEST_P(Sync, PatternsAndExclusionsActOnEveryLevel) {
  for (const char* name :
       {"a.txt", "b.doc", "c.PDF", "d.mdb", "sub.txt/e.txt", "sub.txt/f", "sub/g.txt", "h.pdf/i"})
    store.folder.Write(Source("d/") + name, "1");
  for (const char* name :
       {"old.txt", "old.doc", "old.pdf", "old", "sub.txt/old.txt", "sub.txt/old", "oldsub/x.txt"})
    store.folder.Write(Target("d/") + name, "2");
  const struct {
    const char* pattern;
    int exclude;
    Names plan;
  } rows[] = {
      {"*.txt",
       0,
       {"c1\\a.txt", "c1\\sub.txt\\e.txt", "d\\old.txt", "d\\sub.txt\\old.txt", "f", "f\\sub.txt"}},
      {"*.*",
       7,
       {"c1\\a.txt", "c1\\sub.txt\\e.txt", "c1\\sub.txt\\f", "c1\\sub\\g.txt", "d\\old", "d\\old.txt",
        "d\\oldsub", "d\\sub.txt\\old", "d\\sub.txt\\old.txt", "f", "f\\sub", "f\\sub.txt"}},
      {"*",
       4,
       {"c1\\a.txt", "c1\\b.doc", "c1\\d.mdb", "c1\\sub.txt\\e.txt", "c1\\sub.txt\\f", "c1\\sub\\g.txt",
        "d\\old", "d\\old.doc", "d\\old.txt", "d\\oldsub", "d\\sub.txt\\old", "d\\sub.txt\\old.txt", "f",
        "f\\sub", "f\\sub.txt"}},
      {"none", 0, {"f"}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Plan("d", "d", row.pattern, row.exclude), 0);
    Names plan = PlanOf(store, Source("d"), Target("d"));
    std::sort(plan.begin(), plan.end());
    EXPECT_EQ(plan, row.plan) << row.pattern << row.exclude;
    store.opr.SyncPlanDrop();
    fs::remove_all(store.folder.Host(Target("d/sub")));  // made while planning
  }
}

TEST_P(Sync, FailuresOfPlanning) {
  store.folder.Write(Source("file"), "f");
  for (const char* name : {"none", "file", "none/below"}) EXPECT_EQ(Plan(name, name), 18) << name;
  EXPECT_EQ(store.opr.SyncPlanCount(), 0);
  EXPECT_TRUE(store.folder.Exists(Target("none"))) << "the levels above the target stay";
  const string endless(300, 'x');
  EXPECT_EQ(Plan(endless.c_str(), "d"), 18);
  EXPECT_EQ(Plan("d", endless.c_str()), 18);
  EXPECT_EQ(total, 0U);
}

TEST_P(Sync, AnEmptySourceEmptiesTheTarget) {
  store.folder.Make(Source("d"));
  for (const char* name : {"a", "sub/b"}) store.folder.Write(Target("d/") + name, "x");
  EXPECT_EQ(Plan(), 0);
  EXPECT_EQ(Work(), 0);
  EXPECT_EQ(store.folder.Tree(Target("d")), Names());
}

TEST_P(Sync, OneRelativeNameAndTheTopServeTheShortForms) {
  store.folder.Write(Source("x/a.txt"), "1");
  store.folder.Write(Source("x/b.doc"), "22");
  CTVLClientSmbOpr& o = store.opr;
  const auto plan = [&](int form) {
    o.SyncPlanDrop();
    total = 0;
    const SYNC_DIR_FILE_EXCLUDE documents = SYNC_DIR_FILE_EXCLUDE_DOCUMENT;
    const int code = form == 0   ? (Puts() ? o.SyncDirOpenPutRemote(Arg("x"), Arg("x"), documents, &total)
                                           : o.SyncDirOpenGetRemote(Arg("x"), Arg("x"), documents, &total))
                     : form == 1 ? (Puts() ? o.SyncDirOpenPutRemote(Arg("x"), Arg("x"), Arg("*.doc"), &total)
                                           : o.SyncDirOpenGetRemote(Arg("x"), Arg("x"), Arg("*.doc"), &total))
                                 : (Puts() ? o.SyncDirOpenPutRemote(Arg("x"), Arg("*.*"), &total)
                                           : o.SyncDirOpenGetRemote(Arg("x"), Arg("*.*"), &total));
    EXPECT_EQ(code, 0);
    return total;
  };
  EXPECT_EQ(plan(0), 1U);
  EXPECT_EQ(plan(1), 2U);
  EXPECT_EQ(plan(2), 3U);
  o.SyncPlanDrop();
  EXPECT_EQ(Plan("", ""), 0);
  EXPECT_EQ(Work(), 0);
  EXPECT_EQ(store.folder.Read(Target("x/b.doc")), "22");
}

TEST_P(Sync, TwoPlansAddUp) {
  store.folder.Write(Source("a/f"), "123");
  store.folder.Write(Source("b/g"), "4567");
  EXPECT_EQ(Plan("a", "a"), 0);
  EXPECT_EQ(Plan("b", "b"), 0);
  EXPECT_EQ(total, 7U);
  EXPECT_EQ(store.opr.SyncPlanCount(), 4);
  store.opr.Close();
  EXPECT_EQ(store.opr.SyncPlanCount(), 4) << "closing leaves the plan alone";
  EXPECT_EQ(Work(), 0);
  EXPECT_EQ(store.folder.Read(Target("a/f")) + store.folder.Read(Target("b/g")), "1234567");
}

TEST_P(Sync, DumbModeDoesNothing) {
  store.folder.Write("root/d/f", "f");
  store.opr.Close();
  ASSERT_EQ(store.Open("root"), 0);
  EXPECT_EQ(Plan("d", "e"), 0);
  EXPECT_EQ(Work(), 0);
  EXPECT_EQ(store.opr.SyncPlanCount(), 0);
  EXPECT_EQ(total, 0U);
  EXPECT_EQ(store.folder.Tree("root"), (Names{"d", "d/f"}));
}

// Without a compare only the files of new folders go over.
TEST_P(Sync, DumbPolicyKeepsWhateverTheSourceHas) {
  store.Configure("FileCompare=dumb\nZipOnTransfert=0\n");
  store.opr.Close();
  ASSERT_EQ(store.Open(), 0);
  store.folder.Write(Source("d/missing"), "m");
  store.folder.Write(Source("d/new/f"), "f");
  store.folder.Write(Target("d/extra"), "e");
  EXPECT_EQ(Plan(), 0);
  EXPECT_EQ(Work(), 0);
  EXPECT_EQ(SnapshotOf(store.folder.Host(Target("d"))), (Snapshot{{"new", "dir"}, {"new/f", "file f"}}));
}

TEST_P(Sync, TheLastFailureIsTheResult) {
  for (const bool zip : {false, true}) {
    store.Configure(string("FileCompare=time\nZipOnTransfert=") + (zip ? "1\n" : "0\n"));
    store.opr.Close();
    ASSERT_EQ(store.Open(), 0);
    for (const char* name : {"d/1", "d/2", "d/3"}) store.folder.Write(Source(name), name);
    EXPECT_EQ(Plan(), 0);
    fs::remove(store.folder.Host(Source("d/2")));
    store.folder.Make(Target("d/3"));
    int told = 0;
    const int code = store.opr.SyncDirSyncronize(
        [](char*, unsigned int, void* count) { ++*static_cast<int*>(count); }, &told);
    EXPECT_TRUE(zip ? code == 27 || code == 28 : code == 22) << code;
    EXPECT_EQ(told, 3) << "told of failed copies too";
    EXPECT_EQ(store.folder.Read(Target("d/1")), "d/1");
    EXPECT_FALSE(store.folder.Exists(Target("d/2")));
    fs::remove_all(store.folder.Host(Target("d")));
  }
}

}  // namespace
