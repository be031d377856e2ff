// Compares locks, presence and record sets with plain SQLite and plain file calls. Both sides of a row run
// alternately, and their medians are compared. Argument: the folder to work in, on the disk to measure.

#include <dirent.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <tvlclient/tvlclient.h>

#include "base/low_file.h"
#include "presence/connection.h"

namespace {

constexpr int kTurns = 3;
constexpr int kPairs = 200;
constexpr int kLocks = 1'000;
constexpr int kMarkers = 1'000;
constexpr int kRows = 100'000;
constexpr int kKey = 16;
constexpr int kRecord = 100;

using Action = std::function<void()>;

double Time(const Action& action) {
  const auto start = std::chrono::steady_clock::now();
  action();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

double Median(std::vector<double> times) {
  std::sort(times.begin(), times.end());
  return times[times.size() / 2];
}

void Check(bool good, const char* what) {
  if (good) return;
  std::fprintf(stderr, "locks_bench: %s failed\n", what);
  exit(1);
}

// Prints one row: our time, theirs, and the ratio.
void Compare(
    const char* title, const Action& ours, const Action& theirs, const Action& before = [] {}) {
  std::vector<double> our_times;
  std::vector<double> their_times;
  for (int turn = 0; turn < kTurns; ++turn) {
    before();
    our_times.push_back(Time(ours));
    their_times.push_back(Time(theirs));
  }
  const double our = Median(our_times);
  const double their = Median(their_times);
  std::printf("%-48s %9.1f ms %9.1f ms   time ratio %.2f\n", title, our, their, our / their);
  std::fflush(stdout);
}

class Folder {
 public:
  explicit Folder(const char* parent) : path_(std::string(parent) + "/locks_bench_XXXXXX") {
    Check(mkdtemp(path_.data()) != nullptr, "mkdtemp");
    path_ = std::filesystem::canonical(path_);
    for (const char* name : {"/tmp", "/tmp/locks", "/tmp/procs"})
      std::filesystem::create_directory(path_ + name);
    std::ofstream(path_ + "/tvl.ini") << "[TavolisFileSystem]\nDocumentRoot=" << path_ << '\n';
    Check(CCtreeFile::CreateFiles(Logical("/tmp/locks/dtlocks.dat").c_str(), kLockRecordLength,
                                  kLockKeyLength, 0) == 1,
          "CreateFiles");
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() { std::filesystem::remove_all(path_); }

  [[nodiscard]] std::string Host(const char* name) const { return path_ + name; }
  [[nodiscard]] std::string Logical(const char* name) const {
    std::string path = Host(name);
    std::replace(path.begin(), path.end(), '/', '\\');
    return path;
  }

 private:
  std::string path_;
};

// A lock table in plain SQLite, with the engine's settings.
class PlainTable {
 public:
  explicit PlainTable(const std::string& path) {
    sqlite3_open(path.c_str(), &database_);
    Run("PRAGMA journal_mode = TRUNCATE; PRAGMA synchronous = EXTRA;"
        "CREATE TABLE records(key1 BLOB PRIMARY KEY, key2 BLOB NOT NULL, record BLOB NOT NULL) WITHOUT "
        "ROWID");
    sqlite3_prepare_v2(database_, "INSERT INTO records VALUES(?1, x'', ?2)", -1, &insert_, nullptr);
    sqlite3_prepare_v2(database_, "DELETE FROM records WHERE key1 = ?1", -1, &delete_, nullptr);
  }
  PlainTable(const PlainTable&) = delete;
  PlainTable& operator=(const PlainTable&) = delete;
  ~PlainTable() {
    sqlite3_finalize(insert_);
    sqlite3_finalize(delete_);
    sqlite3_close(database_);
  }

  void Insert(const char* key) {
    char record[kLockRecordLength + 1];
    std::snprintf(record, sizeof record, "%-154s", key);
    sqlite3_bind_blob(insert_, 2, record, kLockRecordLength, SQLITE_STATIC);
    Step(insert_, key);
  }
  void Delete(const char* key) { Step(delete_, key); }

 private:
  void Run(const char* sql) {
    Check(sqlite3_exec(database_, sql, nullptr, nullptr, nullptr) == SQLITE_OK, sql);
  }

  // Runs one transaction.
  static void Step(sqlite3_stmt* statement, const char* name) {
    char key[kLockKeyLength + 1];
    std::snprintf(key, sizeof key, " 1%-80s", name);
    sqlite3_bind_blob(statement, 1, key, kLockKeyLength, SQLITE_STATIC);
    Check(sqlite3_step(statement) == SQLITE_DONE, "a transaction");
    sqlite3_reset(statement);
  }

  sqlite3* database_ = nullptr;
  sqlite3_stmt* insert_ = nullptr;
  sqlite3_stmt* delete_ = nullptr;
};

class Instance {
 public:
  explicit Instance(const Folder& folder, const char* client_class)
      : locks_(folder.Logical("/tmp/locks/")),
        procs_(folder.Logical("/tmp/procs/")),
        connection_(locks_.c_str(), procs_.c_str(), client_class) {
    connection_.AllocateInstance();
  }
  CConnection* operator->() { return &connection_; }

 private:
  std::string locks_;
  std::string procs_;
  CConnection connection_;
};

std::string ObjectName(const char* kind, int number) {
  char name[kLongestObject + 1];
  std::snprintf(name, sizeof name, "%s%06d", kind, number);
  return name;
}

void LockPairs(const Folder& folder) {
  Instance me(folder, "mgrx");
  PlainTable table(folder.Host("/plain.dat"));
  Compare(
      "200 pairs of lock and unlock / two transactions",
      [&] {
        for (int pair = 0; pair < kPairs; ++pair) {
          Check(me->Lock("OBJECT") == 1 && me->Unlock("OBJECT") == 0, "a pair");
        }
      },
      [&] {
        for (int pair = 0; pair < kPairs; ++pair) {
          table.Insert("OBJECT");
          table.Delete("OBJECT");
        }
      });
}

// Leaves locks like a killed instance: rows, and a marker that nobody holds.
void LeaveLocks(const Folder& folder) {
  std::string marker;
  {
    Instance dead(folder, "dead");
    const tvl::TableBatch batch(dead->table->handle, tvl::TableBatch::Kind::kWrite);
    for (int lock = 0; lock < kLocks; ++lock)
      Check(dead->Lock(ObjectName("DEAD", lock).c_str()) == 1, "a lock");
    dead->lockCount = 0;
    marker = dead->markerPath;
  }
  std::replace(marker.begin(), marker.end(), '\\', '/');
  std::ofstream(marker).flush();
}

void TakeOver(const Folder& folder) {
  std::unique_ptr<Instance> me;
  const auto lock_all = [&](const char* kind) {
    for (int lock = 0; lock < kLocks; ++lock)
      Check((*me)->Lock(ObjectName(kind, lock).c_str()) == 1, "a lock");
  };
  const auto release = [&] {
    if (me != nullptr) {
      const tvl::TableBatch batch((*me)->table->handle, tvl::TableBatch::Kind::kWrite);
      for (int lock = 0; lock < kLocks; ++lock) {
        for (const char* kind : {"DEAD", "FREE"}) (*me)->Unlock(ObjectName(kind, lock).c_str());
      }
    }
    me = std::make_unique<Instance>(folder, "mgrx");
    LeaveLocks(folder);
  };
  Compare(
      "1,000 locks of a dead owner / of no owner", [&] { lock_all("DEAD"); }, [&] { lock_all("FREE"); },
      release);
}

void ListAndOpen(const std::string& folder) {
  DIR* directory = opendir(folder.c_str());
  while (const dirent* entry = readdir(directory)) {
    if (entry->d_name[0] != '.') close(openat(dirfd(directory), entry->d_name, O_RDWR | O_CLOEXEC));
  }
  closedir(directory);
}

void Who(const Folder& folder) {
  rlimit files = {};
  getrlimit(RLIMIT_NOFILE, &files);
  files.rlim_cur = std::min<rlim_t>(files.rlim_max, 2 * kMarkers);
  setrlimit(RLIMIT_NOFILE, &files);
  std::vector<HANDLE> live;
  for (int marker = 0; marker < kMarkers; ++marker) {
    const std::string path =
        folder.Logical(("/tmp/procs/" + ObjectName("live-7f000001-", marker) + ".1.mgrx.tvp").c_str());
    live.push_back(LowOpen(path.c_str(), kLowRewrite));
    LowLock(live.back(), 1, 0);
  }
  Instance me(folder, "view");
  const auto make_dead = [&] {
    for (int marker = 0; marker < kMarkers; ++marker) {
      std::ofstream(
          folder.Host(("/tmp/procs/" + ObjectName("dead-7f000001-", marker) + ".1.mgrx.tvp").c_str()))
          .flush();
    }
  };
  int count = 0;
  const auto who = [&] {
    CString list;
    char wanted[] = "mgrx";
    me->GetProcessesList(wanted, count, list);
    Check(count == kMarkers, "who");
  };
  const auto make_and_list = [&] { ListAndOpen(folder.Host("/tmp/procs")); };
  Compare("who, 1,000 live and 1,000 dead / ls and open each", who, make_and_list, make_dead);
  for (const HANDLE file : live) {
    LowLock(file, 0, 0);
    LowClose(file);
  }
}

void ManyRows(const Folder& folder) {
  CTVLClientSmbOpr connection;
  std::string config = folder.Logical("/tvl.ini");
  char directory[260] = "";
  char client_class[] = "mgrx";
  Check(connection.Open(directory, config.data(), client_class) == TVL_OK, "Open");
  const auto csv = folder.Host("/rows.csv");
  const auto key_of = [](int row) { return ObjectName("key", row); };
  {
    std::ofstream file(csv);
    for (int row = 0; row < kRows; ++row) file << key_of(row) << ',' << std::string(kRecord, 'r') << '\n';
  }
  const auto ours = [&] {
    CTVLCtreeRs set(&connection);
    char name[260] = "many.dat";
    char prefix[260] = "key";
    Check(set.InitAndOpen(name, kRecord, kKey, 0) == TVL_OK && set.Extend(kRows) == 1, "InitAndOpen");
    const std::string record(kRecord, 'r');
    for (int row = 0; row < kRows; ++row) set.AddNew(key_of(row).c_str(), nullptr, record.data());
    Check(set.WriteTheBlock() == TVL_OK, "WriteTheBlock");
    Check(set.ReadKeyPrefiz(prefix) == 1 && set.Count() == kRows, "ReadKeyPrefiz");
  };
  const std::string database = folder.Host("/many.db");
  const std::string command =
      "sqlite3 " + database +
      " 'PRAGMA journal_mode=TRUNCATE' 'PRAGMA synchronous=EXTRA'"
      " 'CREATE TABLE records(key1 TEXT PRIMARY KEY, record TEXT NOT NULL) WITHOUT ROWID' 'BEGIN' '.mode "
      "csv' '.import " +
      csv + " records' 'COMMIT' \"SELECT * FROM records WHERE key1 >= 'key' AND key1 < 'kez'\" > /dev/null";
  Compare(
      "100,000 rows written and read / sqlite3 shell", ours,
      [&] { Check(system(command.c_str()) == 0, "sqlite3"); }, [&] { std::filesystem::remove(database); });
}

}  // namespace

int main(int argc, char** argv) {
  const Folder folder(argc > 1 ? argv[1] : ".");
  std::printf("%-48s %12s %12s\n", "", "ours", "other");
  LockPairs(folder);
  TakeOver(folder);
  Who(folder);
  ManyRows(folder);
  return 0;
}
