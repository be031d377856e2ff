#include <filesystem>
#include <set>
#include <string>

#include <tvlclient/store.h>

#include "host/descriptor.h"
#include "host/file_lock.h"
#include "store/backup/new_place.h"
#include "store/lock_ranges.h"
#include "support/faults.h"
#include "support/testing.h"

namespace {

namespace fs = std::filesystem;

class Backups : public testing::Test {
 protected:
  Backups() {
    EXPECT_EQ(TVLStorePlan(folder_.Host("store").c_str(), &store_, &problem_), TVL_OK);
    EXPECT_EQ(TVLStoreCreate(&store_, TVL_NO_GROUP, &problem_), TVL_OK) << problem_.what;
    folder_.Write("store/docs/a", string(300'000, 'a'));
    fs::create_symlink("docs/a", folder_.Host("store/link"));
    fs::copy_file(store_.lockTable, folder_.Host("store/table.dat"));  // any table
  }

  int BackUp() {
    return TVLStoreBackup(&store_, folder_.Host("saved").c_str(), TVL_BACKUP_COPY, nullptr, nullptr,
                          &problem_);
  }
  int Restore() {
    TVLStoreLayout restored;
    return TVLStoreRestore(folder_.Host("saved").c_str(), folder_.Host("new").c_str(), TVL_BACKUP_COPY,
                           &restored, nullptr, nullptr, &problem_);
  }

  // Fails each call in turn: the folder appears complete or not at all, and the next attempt succeeds.
  template <typename Operation>
  void ExpectAllOrNothing(const string& name, const std::set<string>& names, Operation operation) {
    int at = 0;
    do {
      fs::remove_all(folder_.Host(name));
      const int code = WithFault(++at, EIO, operation);
      const bool exists = folder_.Exists(name);
      EXPECT_FALSE(code == TVL_OK && !exists) << "call " << at << ", " << Faults::Hit();
      if (!exists) {
        EXPECT_STRNE(problem_.what, "");
        EXPECT_EQ(operation(), TVL_OK) << "call " << at << ": " << problem_.what << ": " << problem_.path;
      }
      for (const string& part : names)
        EXPECT_TRUE(folder_.Exists(name + "/" + part)) << "call " << at << ", " << part;
      EXPECT_FALSE(folder_.Exists(name + ".tvlpart")) << "call " << at;
    } while (Faults::Hit() != nullptr && !HasFailure());
    EXPECT_GT(at, 50);
  }

  TempFolder folder_{TempFolder::Memory()};
  TVLStoreLayout store_ = {};
  TVLStoreProblem problem_ = {};
};

TEST_F(Backups, AppearCompleteOrNotAtAll) {
  ExpectAllOrNothing("saved", {"backup.ini", "tvl.ini", "files/docs/a", "files/link", "files/table.dat"},
                     [this] { return BackUp(); });
  ExpectAllOrNothing("new", {"tvl.ini", "tmp/locks/dtlocks.dat", "tmp/procs", "docs/a", "link", "table.dat"},
                     [this] { return Restore(); });
}

// A program writes the file in place between the two halves of the first attempt to read it.
string changing_file;
ssize_t (*real_pread)(int, void*, std::size_t, off_t);

ssize_t ChangeOnce(int file, void* buffer, std::size_t count, off_t offset) {
  if (offset > 0 && !changing_file.empty()) {
    std::ofstream(changing_file, std::ios::binary) << string(300'000, 'b');
    changing_file.clear();
  }
  return real_pread(file, buffer, count, offset);
}

TEST_F(Backups, ReadAFileAgainThatChangesMeanwhile) {
  const tvl::SystemCalls kept = tvl::System();
  real_pread = kept.pread;
  changing_file = folder_.Host("store/docs/a");
  tvl::System().pread = ChangeOnce;
  tvl::System().clone = Failing<EOPNOTSUPP>();
  EXPECT_EQ(BackUp(), TVL_OK) << problem_.what;
  tvl::System() = kept;
  EXPECT_TRUE(changing_file.empty());
  EXPECT_TRUE(folder_.Read("saved/files/docs/a") == string(300'000, 'b'));
}

// Tries to write to the table that is being copied.
bool table_was_locked;

int TryToWriteTable(int, int source) {
  const string path = fs::read_symlink("/proc/self/fd/" + std::to_string(source)).string();
  if (path.ends_with("table.dat")) {
    const tvl::Descriptor table(open(path.c_str(), O_RDWR | O_CLOEXEC));
    table_was_locked = table.IsOpen() && !tvl::TryLock(table.Get(), F_WRLCK, tvl::kSqliteSharedBytes);
  }
  errno = EOPNOTSUPP;
  return -1;
}

TEST_F(Backups, LetNobodyWriteToATableThatIsBeingCopied) {
  const tvl::SystemCalls kept = tvl::System();
  tvl::System().clone = TryToWriteTable;
  table_was_locked = false;
  EXPECT_EQ(BackUp(), TVL_OK) << problem_.what;
  tvl::System() = kept;
  EXPECT_TRUE(table_was_locked);
}

TEST(ConfigurationAtNewPlace, ChangesOnlyPaths) {
  const std::pair<const char*, const char*> rows[] = {
      {"[TavolisFileSystem]\r\nDocumentRoot = /old ; x\r\nZipOnTransfert=0",
       "[TavolisFileSystem]\r\nDocumentRoot=/n w\r\nZipOnTransfert=0"},
      {"[Environments]\nDOCUMENTROOT=$Base/s\nTmpDir=/var/tmp\n[pc1]\nDocumentRoot=/mnt\n",
       "[Environments]\nDOCUMENTROOT=/n w\nTmpDir=$DocumentRoot/tmp\n[pc1]\nDocumentRoot=/n w\n"},
      {";DocumentRoot=/old\nRoot=/old\nTmpDir", ";DocumentRoot=/old\nRoot=/old\nTmpDir"},
  };
  for (const auto& [before, after] : rows) EXPECT_EQ(tvl::ConfigurationAt("/n w", before), after);
}

}  // namespace
