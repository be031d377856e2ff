#include <dlfcn.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "scale/scale.h"
#include "support/helper_process.h"

// The modules call the functions below instead of those of the C library, because this program comes first in
// the symbol lookup.

namespace {

struct Fault {
  int kill_at = 0;  // the number of the call before which the process is killed; 0 means never
  int calls = 0;
  bool has_no_links = false;
  int link_answer = 0;  // the error that is reported of a link that was made; 0 means none
  std::string mounts;   // read instead of the system's list of mounts, unless empty
};
Fault fault;

void Count() {
  if (fault.kill_at != 0 && ++fault.calls == fault.kill_at) kill(getpid(), SIGKILL);
}

template <typename Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

#define COUNT_CALLS(result, name, parameters, ...)                   \
  extern "C" [[gnu::visibility("default")]] result name parameters { \
    static auto* const real = Real<result parameters>(#name);        \
    Count();                                                         \
    return real(__VA_ARGS__);                                        \
  }

COUNT_CALLS(int, rename, (const char* from, const char* to) noexcept, from, to)
COUNT_CALLS(int, unlink, (const char* path) noexcept, path)
COUNT_CALLS(int, fsync, (int file), file)
COUNT_CALLS(int, fdatasync, (int file), file)
COUNT_CALLS(ssize_t, pwrite64, (int file, const void* bytes, size_t count, off_t at), file, bytes, count, at)
COUNT_CALLS(ssize_t, send, (int peer, const void* bytes, size_t count, int flags), peer, bytes, count, flags)

extern "C" [[gnu::visibility("default")]] int link(const char* from, const char* to) noexcept {
  static auto* const real = Real<int(const char*, const char*)>("link");
  Count();
  const int made = fault.has_no_links ? -1 : real(from, to);
  if (fault.has_no_links) errno = EPERM;
  if (made != 0 || fault.link_answer == 0) return made;
  errno = fault.link_answer;
  return -1;
}

extern "C" [[gnu::visibility("default")]] FILE* fopen64(const char* path, const char* mode) {
  static auto* const real = Real<FILE*(const char*, const char*)>("fopen64");
  const bool is_list = !fault.mounts.empty() && std::strcmp(path, "/proc/self/mountinfo") == 0;
  return real(is_list ? fault.mounts.c_str() : path, mode);
}

namespace {

namespace fs = std::filesystem;

constexpr char kRecord[] = "01234567890123456789";

// Moves a table, but is killed before a call. Arguments: table, place, number of the call.
const Role move_and_die("move-and-die", [](const std::vector<std::string>& arguments) {
  const fs::path path = arguments[0];
  PermitTables(path.parent_path().c_str(), (path.parent_path().parent_path() / "tables.ini").c_str());
  fault.kill_at = std::stoi(arguments[2]);
  return MoveTable(path.c_str(), std::stoi(arguments[1])) == 1 ? 0 : 1;
});

class MoveTest : public ScaleTest {
 protected:
  // Fills a new table with keys whose bytes an order of texts would confuse.
  void MakeRows(const std::string& path, int rows) const {
    const int table = Make(path);
    ASSERT_GT(table, 0) << GetLastErrorText();
    ASSERT_EQ(BeginBatch(table, 1), 1);
    for (int row = 0; row < rows; ++row) {
      const std::string key = {static_cast<char>(1 + row % 255), static_cast<char>(255 - row / 255), 'k'};
      ASSERT_EQ(WriteRawKeys(table, key.c_str(), row % 3 == 0 ? "" : key.c_str() + 1, kRecord), 1);
    }
    ASSERT_EQ(EndBatch(table), 1) << GetLastErrorText();
    IClose(table);
  }

  // All rows in the order of key 1, then one of each key 2.
  static std::vector<std::string> RowsOf(const std::string& path) {
    std::vector<std::string> rows;
    const int table = IOpen(path.c_str());
    EXPECT_GT(table, 0) << GetLastErrorText();
    for (const int keyNumber : {1, 2}) {
      char key[8] = {};
      char record[21] = {};
      std::strcpy(key, "\1");
      EXPECT_EQ(BeginBatch(table, 0), 1);
      for (int found = ReadKeyGtEq(table, keyNumber, key, record); found == 1;
           found = ReadKeyGt(table, keyNumber, key, record))
        rows.push_back(std::string(key) + record);
      EXPECT_EQ(GetLastProblem(), 1) << GetLastErrorText();
      EXPECT_EQ(EndBatch(table), 1);
    }
    IClose(table);
    return rows;
  }

  [[nodiscard]] static bool IsRemote(const std::string& path) {
    char id[33];
    return GetTableId(path.c_str(), id) == 1;
  }

  [[nodiscard]] std::vector<TVLDatabaseTable> Listed() const {
    std::vector<TVLDatabaseTable> tables;
    const auto add = [](const TVLDatabaseTable* table, void* list) {
      static_cast<std::vector<TVLDatabaseTable>*>(list)->push_back(*table);
    };
    EXPECT_EQ(ListDatabaseTables(folder_.Host("remote").c_str(), add, &tables), 1) << GetLastErrorText();
    return tables;
  }
};

TEST_F(MoveTest, KeepsAllRowsThereAndBack) {
  folder_.Write("hidden", "");
  fs::rename(folder_.Host("tables.ini"), folder_.Host("hidden"));
  MakeRows(Remote(), 700);
  fs::rename(folder_.Host("hidden"), folder_.Host("tables.ini"));
  const std::vector<std::string> rows = RowsOf(Remote());
  ASSERT_GT(rows.size(), 700U);
  for (const int to_database : {1, 0, 1}) {
    SCOPED_TRACE(to_database);
    EXPECT_EQ(MoveTable(Remote().c_str(), 1 - to_database), 0) << "it is there already";
    const int open = IOpen(Remote().c_str());
    EXPECT_EQ(MoveTable(Remote().c_str(), to_database), 0);
    EXPECT_EQ(GetLastProblem(), 2) << "in use: " << GetLastErrorText();
    IClose(open);
    ASSERT_EQ(MoveTable(Remote().c_str(), to_database), 1) << GetLastErrorText();
    EXPECT_EQ(IsRemote(Remote()), to_database == 1);
    EXPECT_EQ(RowsOf(Remote()), rows);
    EXPECT_EQ(folder_.Tree("remote"), std::vector<std::string>{"t.dat"});
  }
}

// A killed process leaves the table as it was, or completely moved.
TEST_F(MoveTest, KilledMoveLeavesOneWholeTable) {
  MakeRows(Remote(), 120);
  const std::vector<std::string> rows = RowsOf(Remote());
  for (const bool to_database : {false, true}) {
    int stayed = 0;
    int moved = 0;
    for (int call = 1; moved < 3; ++call) {
      SCOPED_TRACE(call);
      ASSERT_LT(call, 200);
      ASSERT_EQ(IsRemote(Remote()), !to_database);
      HelperProcess mover({"move-and-die", Remote(), to_database ? "1" : "0", std::to_string(call)});
      const int exit = mover.Wait();
      ASSERT_TRUE(exit == 0 || exit == -SIGKILL) << exit;
      const bool is_moved = IsRemote(Remote()) == to_database;
      ASSERT_TRUE(is_moved || exit != 0);
      (is_moved ? moved : stayed) += 1;
      ASSERT_EQ(RowsOf(Remote()), rows);
      if (is_moved) {
        ASSERT_EQ(MoveTable(Remote().c_str(), to_database ? 0 : 1), 1) << GetLastErrorText();
      }
    }
    EXPECT_GT(stayed, 10);
    std::printf("to %s: %d killed moves left the table, %d were complete\n",
                to_database ? "PostgreSQL" : "a file", stayed, moved);
    if (!to_database) {
      ASSERT_EQ(MoveTable(Remote().c_str(), 0), 1) << GetLastErrorText();
    }
  }
}

TEST_F(MoveTest, CopiedDataFileIsAdoptedOrForked) {
  MakeRows(Remote(), 60);
  const std::vector<std::string> rows = RowsOf(Remote());
  for (const char* name : {"fork", "adopted"}) fs::copy(Remote(), Remote(name));
  for (const auto change : {AdoptTable, ForkTable}) EXPECT_EQ(change(Remote().c_str()), 0) << "not a copy";
  EXPECT_LT(IOpen(Remote("fork").c_str()), 0);
  EXPECT_NE(std::string(GetLastErrorText()).find("'tvl table fork'"), std::string::npos);

  ASSERT_EQ(ForkTable(Remote("fork").c_str()), 1) << GetLastErrorText();
  const int fork = IOpen(Remote("fork").c_str());
  EXPECT_EQ(WriteRawKeys(fork, "own", "", kRecord), 1);
  IClose(fork);
  EXPECT_EQ(RowsOf(Remote("fork")).size(), rows.size() + 1);
  EXPECT_EQ(RowsOf(Remote()), rows);

  ASSERT_EQ(AdoptTable(Remote("adopted").c_str()), 1) << GetLastErrorText();
  EXPECT_EQ(RowsOf(Remote("adopted")), rows);
  EXPECT_LT(IOpen(Remote().c_str()), 0) << "the original is the copy now";
}

TEST_F(MoveTest, DropsOnlyNotedOrphans) {
  MakeRows(Remote(), 10);
  char id[33];
  ASSERT_EQ(GetTableId(Remote().c_str(), id), 1);
  const std::string folder = folder_.Host("remote");
  ASSERT_EQ(Listed().size(), 1U);
  EXPECT_GT(Listed()[0].bytes, 0);
  EXPECT_EQ(DropOrphan(folder.c_str(), id, 0), 0) << "never noted";
  EXPECT_EQ(NoteOrphans(folder.c_str(), (std::string(id) + ",").c_str()), 1) << GetLastErrorText();
  EXPECT_GE(Listed()[0].orphanedFor, 0);
  EXPECT_EQ(DropOrphan(folder.c_str(), id, 100), 0) << "too early";
  EXPECT_EQ(NoteOrphans(folder.c_str(), ""), 1);
  EXPECT_LT(Listed()[0].orphanedFor, 0) << "it was found again";
  EXPECT_EQ(DropOrphan(folder.c_str(), "x\"; DROP SCHEMA", 0), 0);
  EXPECT_FALSE(RowsOf(Remote()).empty());

  EXPECT_EQ(NoteOrphans(folder.c_str(), id), 1);
  WriteTablesIni("main", "", "ffffffffffffffffffffffffffffffff");
  EXPECT_TRUE(Listed().empty());
  EXPECT_EQ(DropOrphan(folder.c_str(), id, 0), 0) << "of another store";
  WriteTablesIni("main");
  EXPECT_EQ(DropOrphan(folder.c_str(), id, 0), 1) << GetLastErrorText();
  EXPECT_TRUE(Listed().empty());
}

// Where a share has no links, the file is created in place.
TEST_F(MoveTest, CreatesTableWithoutLinks) {
  fault.has_no_links = true;
  MakeRows(Remote(), 5);
  EXPECT_NE(CreateArchive(folder_.Host("remote/none/t").c_str(), 20, 4, 3), 0);
  fault.has_no_links = false;
  EXPECT_EQ(RowsOf(Remote()).size(), 7U);
  EXPECT_EQ(folder_.Tree("remote"), std::vector<std::string>{"t.dat"});
}

// NFS repeats a request whose answer was lost, and then reports that the name exists.
TEST_F(MoveTest, KeepsTableWhoseLinkIsReportedAsFailed) {
  for (const int answer : {EEXIST, EIO}) {
    fault.link_answer = answer;
    const std::string path = folder_.Host("remote/" + std::to_string(answer) + ".dat");
    MakeRows(path, 5);
    fault.link_answer = 0;
    EXPECT_EQ(RowsOf(path).size(), 7U);
  }
  EXPECT_EQ(folder_.Tree("remote").size(), 2U);
}

TEST_F(MoveTest, RefusesTablesThatShareCannotHave) {
  const auto pretend = [this](const std::string& type) {
    folder_.Write("mounts", "1 0 0:1 / " + folder_.Host() + " rw - " + type + " server:/share rw\n");
    fault.mounts = folder_.Host("mounts");
  };
  const auto expect_refusal = [](int result, const char* reason) {
    EXPECT_LE(result, 0);
    EXPECT_NE(std::string(GetLastErrorText()).find(reason), std::string::npos) << GetLastErrorText();
  };
  MakeRows(Remote(), 5);
  ASSERT_EQ(MoveTable(Remote().c_str(), 0), 1) << GetLastErrorText();
  pretend("fuse.glusterfs");
  expect_refusal(IOpen(Remote().c_str()), "'tvl table move TABLE --to postgresql'");
  expect_refusal(-CreateArchive(Local().c_str(), 20, 4, 3), "'tvl table move TABLE --to postgresql'");
  EXPECT_FALSE(folder_.Exists("local/t.dat"));
  EXPECT_EQ(MoveTable(Remote().c_str(), 1), 1) << GetLastErrorText();
  EXPECT_EQ(RowsOf(Remote()).size(), 7U);
  expect_refusal(MoveTable(Remote().c_str(), 0), "GlusterFS");
  pretend("vfat");
  expect_refusal(-CreateArchive(Remote("new").c_str(), 20, 4, 3), "permanent file numbers");
  EXPECT_FALSE(folder_.Exists("remote/new.dat"));
  fault.mounts.clear();
}

}  // namespace
