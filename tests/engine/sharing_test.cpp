#include <atomic>
#include <optional>
#include <thread>

#include "engine/engine.h"
#include "support/helper_process.h"

namespace {

// Opens a table, reports that, and keeps it open until it is killed.
const Role hold_table("hold-table", [](const std::vector<string>& arguments) {
  Say(IOpen(arguments[0].c_str()) > 0 ? "open" : "refused");
  Listen();
  return 0;
});

const Role make_table("make-table", [](const std::vector<string>& arguments) {
  return CreateArchive(arguments[0].c_str(), 30, 5, 0);
});

TEST_F(EngineTest, ProtectsTableInUse) {
  const int table = Open();
  ASSERT_EQ(Write(table, "a", "", "kept"), 1);
  const int second = Open();
  std::optional<HelperProcess> other;
  for (const int users : {3, 2, 1, 0}) {
    SCOPED_TRACE(users);
    if (users == 2) IClose(second);
    if (users == 1) {
      other.emplace(std::vector<string>{"hold-table", table_});
      ASSERT_EQ(other->Hear(), "open");
      CloseAll();
    }
    if (users == 0) {
      other->Signal(SIGKILL);
      EXPECT_EQ(other->Wait(), -SIGKILL);
    }
    EXPECT_EQ(CanLockWhole(table_), users == 0);
    EXPECT_EQ(HelperProcess({"make-table", table_}).Wait() == 0, users == 0);
    EXPECT_EQ(Create() == 0, users == 0);
    const int looking = Open();
    EXPECT_EQ(All(looking), users > 0 ? Rows{"a|kept"} : Rows{});
    IClose(looking);
  }
}

// Plain SQLite locks the same bytes step by step, as did the first release of the module.
TEST_F(EngineTest, ExcludesPlainSqliteAndIsExcludedByIt) {
  const int table = Open();
  ASSERT_EQ(Write(table, "a", "", "ours"), 1);
  sqlite3* plain = nullptr;
  ASSERT_EQ(sqlite3_open(table_.c_str(), &plain), SQLITE_OK);
  const char* const read = "SELECT * FROM records";
  const char* const write =
      "INSERT INTO records VALUES(x'62202020', x'202020', CAST('12345678901234567890' AS BLOB))";
  ASSERT_EQ(BeginBatch(table, 1), 1);
  EXPECT_EQ(Execute(plain, read), SQLITE_BUSY);
  EXPECT_EQ(EndBatch(table), 1);
  ASSERT_EQ(BeginBatch(table, 0), 1);
  EXPECT_EQ(Execute(plain, read), SQLITE_OK);
  EXPECT_EQ(Execute(plain, write), SQLITE_BUSY);
  EXPECT_EQ(EndBatch(table), 1);

  ASSERT_EQ(Execute(plain, "BEGIN IMMEDIATE"), SQLITE_OK);
  ASSERT_EQ(Execute(plain, write), SQLITE_OK);
  std::atomic<bool> written{false};
  std::thread writer([&] {
    EXPECT_EQ(Write(table, "c", "", "ours"), 1) << GetLastErrorText();
    written = true;
  });
  for (int round = 0; round < 1000; ++round) ASSERT_FALSE(written);
  EXPECT_EQ(Execute(plain, "COMMIT"), SQLITE_OK);
  writer.join();
  EXPECT_EQ(All(table).size(), 3U);
  sqlite3_close(plain);
}

TEST_F(EngineTest, TwoNamesOfOneTableShareIt) {
  TVL_SKIP_WITHOUT_LINKS();
  const string link = folder_.Host("link.dat");
  fs::create_symlink(table_, link);
  const int by_name = Open();
  const int by_link = IOpen(link.c_str());
  ASSERT_EQ(BeginBatch(by_name, 1), 1);
  EXPECT_EQ(Write(by_name, "a", "", "1"), 1);
  EXPECT_EQ(Read(ReadKeyEq, by_link, 1, "a"), "a|1") << "the same thread, the same batch";
  EXPECT_EQ(EndBatch(by_name), 1);
  EXPECT_FALSE(fs::exists(link + "-journal"));
  CloseAll();
  EXPECT_EQ(CreateArchive(link.c_str(), 20, 4, 3), 0);
  EXPECT_TRUE(fs::is_symlink(link));
}

TEST_F(EngineTest, ReopensReplacedTable) {
  if (!kReplacesOpenFiles) GTEST_SKIP() << "the name of an open file remains";
  const int old = Open();
  ASSERT_EQ(Write(old, "a", "", "old"), 1);
  EXPECT_EQ(IsStillNamed(old), 1);
  fs::remove(table_);  // without trying its lock
  EXPECT_EQ(IsStillNamed(old), 0);
  ASSERT_EQ(Create(), 0);
  EXPECT_EQ(IsStillNamed(old), 0);
  const int made = Open();
  EXPECT_EQ(Write(made, "b", "", "new"), 1);
  IClose(old);
  EXPECT_EQ(All(made), Rows{"b|new"});
}

}  // namespace
