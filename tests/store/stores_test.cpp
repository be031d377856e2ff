#include <tvlclient/smb_opr.h>

#include "support/faults.h"
#include "support/testing.h"

namespace {

using Texts = std::vector<string>;

void AddPath(const char* path, void* list) {
  static_cast<Texts*>(list)->emplace_back(path);
}

// A store in a folder of its own.
class Stores : public testing::Test {
 protected:
  int Plan() { return TVLStorePlan(folder_.Host("store").c_str(), &layout_, &problem_); }
  int Create() { return TVLStoreCreate(&layout_, TVL_NO_GROUP, &problem_); }
  void MakeStore() {
    ASSERT_EQ(Plan(), TVL_OK) << problem_.what;
    ASSERT_EQ(Create(), TVL_OK) << problem_.what << ": " << std::strerror(problem_.error);
  }

  TempFolder folder_;
  TVLStoreLayout layout_ = {};
  TVLStoreProblem problem_ = {};
};

TEST_F(Stores, AreDescribedByTheirConfigurationAsTheyWerePlanned) {
  MakeStore();
  const TVLStoreLayout planned = layout_;
  EXPECT_EQ(Plan(), TVL_ERR_STORE_EXISTS);
  EXPECT_STREQ(problem_.path, planned.configuration);
  TVLStoreLayout read = {};
  ASSERT_EQ(TVLStoreRead(planned.configuration, &read, nullptr), TVL_OK);
  for (const auto part : {&TVLStoreLayout::configuration, &TVLStoreLayout::root, &TVLStoreLayout::tmp,
                          &TVLStoreLayout::locks, &TVLStoreLayout::procs, &TVLStoreLayout::lockTable})
    EXPECT_EQ(fs::path(read.*part).generic_string(), fs::path(planned.*part).generic_string());
  EXPECT_EQ(read.safety, planned.safety);
  EXPECT_EQ(read.isNew, 0);
  EXPECT_EQ(TVLStoreListMissing(&read, nullptr, nullptr), 0);
  if (kHasAllNames) {
    EXPECT_EQ(TVLStorePlan("a\\b", &read, &problem_), TVL_ERR_BAD_PATH);
  }
  EXPECT_EQ(TVLStoreRead(folder_.Host("none.ini").c_str(), &read, nullptr), TVL_ERR_ROOT_UNDEFINED);
}

TEST_F(Stores, AreCreatedWholeOrCanBeCreatedAgain) {
  int at = 0;
  do {
    fs::remove_all(folder_.Host("store"));
    ASSERT_EQ(Plan(), TVL_OK);
    const int code = WithFault(++at, EIO, [&] { return Create(); });
    if (code == TVL_OK) {
      EXPECT_EQ(TVLStoreListMissing(&layout_, nullptr, nullptr), 0) << "call " << at;
      continue;
    }
    EXPECT_STRNE(problem_.what, "") << "call " << at;
    ASSERT_EQ(Plan(), TVL_OK) << "call " << at << ", " << Faults::Hit() << ": " << problem_.what;
    EXPECT_EQ(Create(), TVL_OK) << "call " << at << ": " << problem_.what;
  } while (Faults::Hit() != nullptr);
  EXPECT_GT(at, kHasFaults ? 20 : 0);
}

TEST_F(Stores, InUseGetNoNewLockTable) {
  MakeStore();
  CTVLClientSmbOpr client;
  ASSERT_EQ(client.Open(Arg(""), Arg(layout_.configuration), Arg("mgrx")), TVL_OK);
  ASSERT_EQ(TVLStoreRead(layout_.configuration, &layout_, &problem_), TVL_OK);
  EXPECT_EQ(Create(), TVL_OK);  // nothing is missing
  fs::rename(layout_.lockTable, folder_.Host("moved"));
  Texts missing;
  EXPECT_EQ(TVLStoreListMissing(&layout_, AddPath, &missing), 1);
  EXPECT_EQ(missing, Texts{layout_.lockTable});
  EXPECT_EQ(Create(), TVL_ERR_STORE_IN_USE);
  EXPECT_EQ(fs::path(problem_.path).parent_path().generic_string(), fs::path(layout_.procs).generic_string());
  client.Close();
  EXPECT_EQ(Create(), TVL_OK) << problem_.what;
}

TEST_F(Stores, ReportWhoHoldsTheirFiles) {
  MakeStore();
  CTVLClientSmbOpr client;
  ASSERT_EQ(client.Open(Arg(""), Arg(layout_.configuration), Arg("mgrx")), TVL_OK);
  int state = 0;
  client.Lock(Arg("A"), &state, nullptr, nullptr, nullptr, nullptr, nullptr);  // opens the table
  EXPECT_EQ(state, TVL_LOCK_OWN);
  struct Held {
    int markers = 0;
    int tables = 0;
  } held;
  EXPECT_EQ(TVLListHeldFiles(
                layout_.root,
                [](const TVLHeldFile* file, void* counts) {
                  auto& found = *static_cast<Held*>(counts);
                  found.tables += file->kind == TVL_FILE_TABLE && file->holder == nullptr ? 1 : 0;
                  if (file->kind != TVL_FILE_MARKER) return;
                  ++found.markers;
                  EXPECT_STREQ(file->holder->className, "mgrx");
                  EXPECT_STREQ(file->holder->ipAddress, "127.0.0.1");
                  EXPECT_EQ(file->holder->pid, getpid());
                },
                &held),
            2);
  EXPECT_EQ(held.markers, 1);
  EXPECT_EQ(held.tables, 1);
  const string name = string(kHasAllNames ? "pc|7" : "pc7") + "-0a000007-003.1f.mgrx.tvp";
  const string dead = folder_.Host("store/tmp/procs/" + name);
  folder_.Write("store/tmp/procs/" + name, "");
  const auto instances = [](CTVLClientSmbOpr& of, const char* client_class) {
    Texts names;
    EXPECT_EQ(
        of.ListInstances(
            client_class, [](const TVLInstance* row, void* list) { AddPath(row->className, list); }, &names),
        TVL_OK);
    return names;
  };
  CTVLClientSmbOpr looking;
  ASSERT_EQ(looking.Preview(Arg(""), layout_.configuration), TVL_OK);
  EXPECT_EQ(instances(looking, "*"), Texts{"mgrx"});
  EXPECT_EQ(instances(looking, "none"), Texts{});
  EXPECT_TRUE(fs::exists(dead));
  EXPECT_EQ(instances(client, "MGRX"), Texts{});  // without itself
  EXPECT_FALSE(fs::exists(dead));
}

TEST_F(Stores, NameTheKindsOfTheirFiles) {
  const std::pair<const char*, TVL_FILE_KIND> rows[] = {
      {"/s/tmp/procs/pc-7f000001-001.1.mgrx.tvp", TVL_FILE_MARKER},
      {"dtlocks.dat", TVL_FILE_TABLE},
      {"dtlocks.dat-journal", TVL_FILE_JOURNAL},
      {"/s/.12.3.tvlpart", TVL_FILE_PART},
      {".tvl.ini.tvlpart", TVL_FILE_NEW_INI},
      {"x.tvlpart", TVL_FILE_DOCUMENT},
      {"/s.dat/x", TVL_FILE_DOCUMENT},
      {"", TVL_FILE_DOCUMENT}};
  for (const auto& [name, kind] : rows) EXPECT_EQ(TVLStoreFileKind(name), kind) << name;
}

}  // namespace
