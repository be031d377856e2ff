#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "scale/scale.h"

namespace {

namespace fs = std::filesystem;

class RefusalTest : public ScaleTest {
 protected:
  [[nodiscard]] int RowTables() const {
    return std::stoi(Server().Sql("SELECT count(*) FROM pg_tables WHERE schemaname = '" + schema_ +
                                  "' AND tablename LIKE 'rows_%'"));
  }

  // Expects that a table is neither opened nor created, for a reason with this text, and that nothing
  // changes.
  void ExpectRefusal(const std::string& name, bool creates, const std::string& reason) const {
    SCOPED_TRACE(reason);
    const std::vector<std::string> before = folder_.Tree();
    const int tables = RowTables();
    EXPECT_TRUE(creates ? CreateArchive(Remote(name).c_str(), 20, 4, 3) != 0
                        : IOpen(Remote(name).c_str()) < 0);
    EXPECT_NE(std::string(GetLastErrorText()).find(reason), std::string::npos) << GetLastErrorText();
    EXPECT_EQ(folder_.Tree(), before);
    EXPECT_EQ(RowTables(), tables);
  }
};

TEST_F(RefusalTest, SaysWhatIsWrongAndCreatesNothing) {
  IClose(Make(Remote()));
  const std::string ini = folder_.Read("tables.ini");
  const std::string pointer = folder_.Read("remote/t.dat");
  for (const char* name : {"copy", "cut", "later", "unknown"}) fs::copy(Remote(), Remote(name));
  folder_.Write("remote/cut.dat", pointer.substr(0, pointer.size() - 4));
  folder_.Write("remote/later.dat", "TVLTABLE 2\n");
  folder_.Write("remote/unknown.dat", std::string(pointer).replace(pointer.find("id=") + 3, 4, "0000"));

  const auto edit = [this](const std::string& text) {
    return [this, text] { folder_.Write("tables.ini", text); };
  };
  const struct {
    std::function<void()> change;
    const char* table;
    bool creates;
    const char* reason;
  } cases[] = {
      {[] {}, "copy", false, "was copied or restored"},
      {[] {}, "cut", false, "incomplete"},
      {[] {}, "later", false, "later release"},
      {[] {}, "unknown", false, "does not exist in the PostgreSQL database"},
      {[this] { fs::remove(folder_.Host("tables.ini")); }, "t", false, "no tables.ini"},
      {[this] { WriteTablesIni("main", "", "ffffffffffffffffffffffffffffffff"); }, "t", false,
       "another store"},
      {edit(ini + "engine=postgresql\n"), "new", true, "line 6 of tables.ini"},
      {edit(ini + "host=elsewhere\n"), "new", true, "line 6 of tables.ini"},
      {edit("engine=sqlite\n"), "new", true, "line 1 of tables.ini"},
      {edit("engine=postgresql\nservice=main\nstore=" + std::string(kStore)), "new", true,
       "no setting 'schema'"},
      {edit(std::string(5000, ';')), "new", true, "tables.ini cannot be read"},
      {[this] { WriteTablesIni("nowhere"); }, "new", true, "definition of service \"nowhere\" not found"},
      {[this] { WriteTablesIni("main", ""); }, "dtlocks", true, "no synchronous standby"},
  };
  for (const auto& [change, table, creates, reason] : cases) {
    change();
    ExpectRefusal(table, creates, reason);
    folder_.Write("tables.ini", ini);
  }
  EXPECT_GT(IOpen(Remote().c_str()), 0) << GetLastErrorText();
}

TEST_F(RefusalTest, RefusesServersThatMayLoseCommits) {
  const struct {
    const char* name;
    std::vector<std::string> settings;
    bool is_standby;
    const char* reason;
  } cases[] = {
      {"unsynced", {"fsync=off"}, false, "fsync or full_page_writes"},
      {"torn", {"full_page_writes=off"}, false, "fsync or full_page_writes"},
      {"standby", {}, true, "is a standby"},
  };
  Database server(folder_.Host("other"));
  fs::permissions(folder_.Host(), fs::perms(0755));
  server.Start();
  for (const auto& [name, settings, is_standby, reason] : cases) {
    server.Stop();
    if (is_standby) folder_.Write("other/data/standby.signal", "");
    server.Start(settings);
    AddService(name, server.Service());
    WriteTablesIni(name);
    EXPECT_NE(CreateArchive(Remote("new").c_str(), 20, 4, 3), 0);
    EXPECT_NE(std::string(GetLastErrorText()).find(reason), std::string::npos) << GetLastErrorText();
    EXPECT_FALSE(folder_.Exists("remote/new.dat"));
  }
}

TEST_F(RefusalTest, ReplacesOnlyTableThatNobodyUses) {
  const int open = Make(Remote());
  ASSERT_EQ(WriteRawKeys(open, "a", "", "01234567890123456789"), 1) << GetLastErrorText();
  const std::string pointer = folder_.Read("remote/t.dat");
  EXPECT_NE(CreateArchive(Remote().c_str(), 20, 4, 3), 0);
  EXPECT_EQ(GetLastProblem(), 2);
  EXPECT_EQ(folder_.Read("remote/t.dat"), pointer);
  EXPECT_EQ(RowTables(), 1);
  IClose(open);
  const int again = Make(Remote());
  char key[8] = "a";
  char record[21];
  EXPECT_EQ(ReadKeyEq(again, 1, key, record), 0);
  EXPECT_EQ(GetLastProblem(), 1);
  EXPECT_NE(folder_.Read("remote/t.dat"), pointer);
  EXPECT_EQ(RowTables(), 2) << "the old rows stay";
}

// A refusal is reported by the call, by a later one, or by the end of the batch.
TEST_F(RefusalTest, KeepsRowsBeforeRefusedOne) {
  const int table = Make(Remote());
  const std::string pointer = folder_.Read("remote/t.dat");
  static_cast<void>(Server().Sql("ALTER TABLE " + schema_ + ".rows_" +
                                 pointer.substr(pointer.find("id=") + 3, 32) +
                                 " ADD CHECK (key1 <> 'bad ')"));
  const auto write = [table](const char* key) {
    return WriteRawKeys(table, key, "", "01234567890123456789");
  };
  const auto has = [table](const char* wanted) {
    char key[8] = {};
    char record[21];
    std::string(wanted).copy(key, sizeof key - 1);
    return ReadKeyEq(table, 1, key, record);
  };
  EXPECT_EQ(write("bad"), 0);
  for (const bool reads : {false, true}) {
    ASSERT_EQ(BeginBatch(table, 1), 1);
    EXPECT_EQ(write(reads ? "a2" : "a1"), 1);
    EXPECT_EQ(write("bad"), 1) << "sent later";
    if (reads) {
      EXPECT_EQ(has("a2"), 0) << "reports the refusal";
      EXPECT_EQ(write("c2"), 1) << "the batch continues";
    }
    EXPECT_EQ(EndBatch(table), 0);
    EXPECT_EQ(has(reads ? "a2" : "a1"), 1);
    EXPECT_EQ(has("bad"), 0);
  }
  EXPECT_EQ(has("c2"), 1);
  ASSERT_EQ(BeginBatch(table, 1), 1);
  EXPECT_EQ(DeleteKeys(table, "none", nullptr), 0);
  EXPECT_EQ(write("d"), 1);
  EXPECT_EQ(EndBatch(table), 1) << GetLastErrorText();
}

TEST_F(RefusalTest, CreationsAtOnceLeaveOneTableThatWorks) {
  std::vector<std::thread> threads;
  std::atomic<int> created = 0;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] { created += CreateArchive(Remote().c_str(), 20, 4, 3) == 0 ? 1 : 0; });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_GE(created, 1);
  EXPECT_EQ(RowTables(), created) << "each loser drops its own";
  EXPECT_EQ(folder_.Tree("remote"), std::vector<std::string>{"t.dat"});
  EXPECT_GT(IOpen(Remote().c_str()), 0) << GetLastErrorText();
}

TEST_F(RefusalTest, ForkedChildHasConnectionsOfItsOwn) {
  const int table = Make(Remote());
  ASSERT_EQ(BeginBatch(table, 1), 1) << GetLastErrorText();
  ASSERT_EQ(WriteRawKeys(table, "a", "", "01234567890123456789"), 1);
  const pid_t child = fork();
  if (child == 0) {
    char key[8] = "a";
    char record[21];
    const bool refused = ReadKeyEq(table, 1, key, record) == 0;
    const int own = IOpen(Remote().c_str());
    const bool works = own > 0 && ReadKeyEq(own, 1, key, record) == 0 && GetLastProblem() == 1;
    CloseAll();
    _exit(refused && works ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(EndBatch(table), 1) << GetLastErrorText();
}

// Returns whether a forked child can use files with the lowest free numbers of descriptors.
bool ChildInheritsFiles() {
  int ends[16][2];
  for (auto& pair : ends) EXPECT_EQ(pipe2(pair, O_CLOEXEC), 0);
  const pid_t child = fork();
  if (child == 0) {
    for (const auto& pair : ends) {
      struct stat status = {};
      if (fstat(pair[0], &status) != 0 || !S_ISFIFO(status.st_mode)) _exit(1);
      if (fstat(pair[1], &status) != 0 || !S_ISFIFO(status.st_mode)) _exit(1);
    }
    _exit(0);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  for (const auto& pair : ends) {
    close(pair[0]);
    close(pair[1]);
  }
  return status == 0;
}

// The numbers of broken connections are soon those of other files, which a child must inherit.
TEST_F(RefusalTest, WorksAgainAfterServerRestarted) {
  const int table = Make(Remote());
  const int others[] = {Make(Remote("b")), Make(Remote("c")), Make(Remote("d"))};
  for (const int other : others) ASSERT_EQ(BeginBatch(other, 0), 1);
  for (const int other : others) ASSERT_EQ(EndBatch(other), 1);
  IClose(Make(Remote("closed")));
  ASSERT_EQ(BeginBatch(table, 1), 1);
  ASSERT_EQ(WriteRawKeys(table, "b", "", "01234567890123456789"), 1);
  Server().Stop();
  EXPECT_LT(IOpen(Remote("closed").c_str()), 0);
  EXPECT_NE(std::string(GetLastErrorText()).find("cannot be reached"), std::string::npos)
      << GetLastErrorText();
  Server().Start();
  EXPECT_EQ(EndBatch(table), 0);
  char key[8] = "b";
  char record[21];
  EXPECT_EQ(ReadKeyEq(table, 1, key, record), 0) << "rolled back with the server";
  EXPECT_EQ(GetLastProblem(), 1) << GetLastErrorText();
  EXPECT_EQ(WriteRawKeys(table, "b", "", "01234567890123456789"), 1) << GetLastErrorText();
  EXPECT_EQ(ReadKeyEq(table, 1, key, record), 1);
  EXPECT_TRUE(ChildInheritsFiles());
}

TEST_F(RefusalTest, SaysThatModuleIsMissing) {
  IClose(Make(Remote()));
  Dl_info info = {};
  ASSERT_NE(dladdr(reinterpret_cast<const void*>(&IOpen), &info), 0);
  const std::string copy = folder_.Host("vbctree.so");
  fs::copy(info.dli_fname, copy);
  void* const alone = dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(alone, nullptr) << dlerror();
  const auto permit = reinterpret_cast<decltype(&PermitTables)>(dlsym(alone, "PermitTables"));
  const auto open = reinterpret_cast<decltype(&IOpen)>(dlsym(alone, "IOpen"));
  const auto create = reinterpret_cast<decltype(&CreateArchive)>(dlsym(alone, "CreateArchive"));
  const auto why = reinterpret_cast<decltype(&GetLastErrorText)>(dlsym(alone, "GetLastErrorText"));
  EXPECT_EQ(permit(folder_.Host("remote").c_str(), folder_.Host("tables.ini").c_str()), 1);
  for (const bool creates : {false, true}) {
    EXPECT_TRUE(creates ? create(Remote("new").c_str(), 20, 4, 3) != 0 : open(Remote().c_str()) < 0);
    EXPECT_NE(std::string(why()).find("vbctree-postgres.so is not installed"), std::string::npos) << why();
  }
  EXPECT_FALSE(folder_.Exists("remote/new.dat"));
  EXPECT_EQ(create(Local().c_str(), 20, 4, 3), 0) << "tables of one file need no server";
}

}  // namespace
