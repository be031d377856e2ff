#include <dlfcn.h>
#include <linux/magic.h>
#include <sys/vfs.h>

#include <cstdarg>
#include <functional>
#include <optional>
#include <utility>

#include "engine/engine.h"
#include "host/descriptor.h"
#include "host/file_lock.h"
#include "store/lock_ranges.h"
#include "support/faults.h"
#include "support/helper_process.h"

// The module calls the functions below instead of those of the C library, because this program comes first in
// the symbol lookup. Each passes the call on unless it is to fail.

namespace {

using Span = Faults::Span;

struct Fault {
  int at = 0;  // 0 means none
  int error = 0;
  Span span = Span::kOne;
  int calls = 0;
};
Fault fault;

bool Strikes() {
  if (fault.at == 0) return false;
  ++fault.calls;
  const bool hit = fault.span == Span::kOne ? fault.calls == fault.at : fault.calls >= fault.at;
  if (hit) errno = fault.error;
  return hit;
}

// Behaves like SMB on Linux: an open with the flags of the newest open of the same file gets its handle.
// Another process opens the file just before, unless it must wait because this process does so with O_DSYNC
// and O_NONBLOCK.
class Share {
 public:
  explicit Share(string path) : path_(std::move(path)) {}

  template <typename Open>
  int OpenFile(const char* path, int flags, Open open) {
    if (path != path_) return open();
    const bool is_apart = (newest_flags_ & O_DSYNC) != 0 && (newest_flags_ & O_NONBLOCK) != 0;
    if (!IsOpen() || !is_apart) Note(others_.emplace_back(open()).Get(), flags);
    if (IsOpen() && newest_flags_ == flags) return dup(newest_);
    return Note(open(), flags);
  }

  void UnlockByOthers() const {
    for (const tvl::Descriptor& other : others_) tvl::Unlock(other.Get(), tvl::kWholeFile);
  }

 private:
  [[nodiscard]] bool IsOpen() const { return newest_ >= 0 && fcntl(newest_, F_GETFD) >= 0; }
  int Note(int file, int flags) {
    newest_ = file;
    newest_flags_ = flags;
    return file;
  }

  string path_;
  std::vector<tvl::Descriptor> others_;
  int newest_ = -1;
  int newest_flags_ = 0;
};
// The size of the table as an SMB client has cached it, until it must ask the server.
std::optional<off_t> cached_size;

Share* share = nullptr;  // the file system of the test, if it is one

std::function<void(int file)> before_write;

template <typename Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

#define PASS_ON(result, name, parameters, ...)                       \
  extern "C" [[gnu::visibility("default")]] result name parameters { \
    static auto* const real = Real<result parameters>(#name);        \
    return Strikes() ? result{-1} : real(__VA_ARGS__);               \
  }

PASS_ON(ssize_t, pread, (int file, void* bytes, size_t count, off_t at), file, bytes, count, at)
PASS_ON(ssize_t, pread64, (int file, void* bytes, size_t count, off_t at), file, bytes, count, at)
PASS_ON(ssize_t, pwrite64, (int file, const void* bytes, size_t count, off_t at), file, bytes, count, at)
PASS_ON(int, fsync, (int file), file)
PASS_ON(int, fdatasync, (int file), file)
PASS_ON(int, ftruncate, (int file, off_t length) noexcept, file, length)
PASS_ON(int, ftruncate64, (int file, off_t length) noexcept, file, length)
PASS_ON(int, stat, (const char* path, struct stat* status) noexcept, path, status)
PASS_ON(int, stat64, (const char* path, struct stat64* status) noexcept, path, status)
PASS_ON(int, fstat64, (int file, struct stat64* status) noexcept, file, status)
PASS_ON(int, lstat, (const char* path, struct stat* status) noexcept, path, status)
PASS_ON(int, access, (const char* path, int mode) noexcept, path, mode)
PASS_ON(int, fchmod, (int file, mode_t mode) noexcept, file, mode)
PASS_ON(int, unlink, (const char* path) noexcept, path)

extern "C" [[gnu::visibility("default")]] ssize_t pwrite(int file, const void* bytes, size_t count,
                                                         off_t at) {
  static auto* const real = Real<ssize_t(int, const void*, size_t, off_t)>("pwrite");
  if (before_write) before_write(file);
  return Strikes() ? -1 : real(file, bytes, count, at);
}

extern "C" [[gnu::visibility("default")]] int open(const char* path, int flags, ...) {
  static auto* const real = Real<int(const char*, int, ...)>("open");
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if (Strikes()) return -1;
  const auto open = [&] { return real(path, flags, mode); };
  return share != nullptr ? share->OpenFile(path, flags, open) : open();
}

extern "C" [[gnu::visibility("default")]] int fstat(int file, struct stat* status) noexcept {
  static auto* const real = Real<int(int, struct stat*)>("fstat");
  if (Strikes() || real(file, status) != 0) return -1;
  if (cached_size && S_ISREG(status->st_mode) && status->st_size > *cached_size)
    status->st_size = *cached_size;
  return 0;
}

extern "C" [[gnu::visibility("default")]] int statx(int folder, const char* path, int flags,
                                                    unsigned int mask, struct statx* status) noexcept {
  static auto* const real = Real<int(int, const char*, int, unsigned int, struct statx*)>("statx");
  if ((flags & AT_STATX_FORCE_SYNC) != 0 && *path == 0) cached_size.reset();
  return Strikes() ? -1 : real(folder, path, flags, mask, status);
}

extern "C" [[gnu::visibility("default")]] int fstatfs(int file, struct statfs* status) noexcept {
  static auto* const real = Real<int(int, struct statfs*)>("fstatfs");
  if (Strikes() || real(file, status) != 0) return -1;
  if (share != nullptr) status->f_type = CIFS_SUPER_MAGIC;
  return 0;
}

extern "C" [[gnu::visibility("default")]] int fcntl(int file, int command, ...) {
  static auto* const real = Real<int(int, int, ...)>("fcntl");
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  return Strikes() ? -1 : real(file, command, argument);
}

namespace {

// Opens the table and changes it in one batch with a nested one, then reads a row. Returns true if the batch
// was committed. Sets `rows` to the expected table after the successful calls.
bool ChangeTable(const string& path, Rows& rows) {
  const int table = IOpen(path.c_str());
  const int other = IOpen(path.c_str());
  if (BeginBatch(table, 1) != 1) return false;
  for (char row = '1'; row <= '9'; ++row) {
    if (Write(table, {row}, "n", "new") == 1) rows.push_back(string{row} + "|new");
  }
  if (BeginBatch(other, 1) == 1) {
    if (DeleteKeys(other, "0", nullptr) == 1) rows.erase(rows.begin());
    EXPECT_EQ(EndBatch(other), 1);
  }
  const bool kept = EndBatch(table) == 1;
  Read(ReadKeyEq, other, 1, "1");
  return kept;
}

void ExpectOldOrNewRows(const string& path, bool kept, const Rows& rows) {
  const int table = IOpen(path.c_str());
  const Rows found = All(table);
  EXPECT_TRUE(found == rows || (!kept && found == Rows{"0|old"})) << testing::PrintToString(found);
  CloseAll();
  EXPECT_EQ(CheckIntegrity(path), "ok");
}

class FailingCall : public EngineTest, public testing::WithParamInterface<bool> {};

TEST_P(FailingCall, LeavesOldOrNewRows) {
  for (const int error : {EIO, ENOSPC}) {
    for (const Span span : {Span::kOne, Span::kFromThereOn}) {
      int failures = 0;
      bool struck = true;
      for (int at = 1; struck && !HasFailure(); ++at) {
        SCOPED_TRACE("call " + std::to_string(at) + ", " + std::to_string(error));
        ASSERT_EQ(Create(), 0) << GetLastErrorText();
        ASSERT_EQ(Write(Open(), "0", "o", "old"), 1);
        CloseAll();
        const long descriptors = OpenDescriptors();
        Rows rows = {"0|old"};
        std::optional<Share> smb;
        if (GetParam()) share = &smb.emplace(table_);
        fault = {at, error, span};
        const bool kept = ChangeTable(table_, rows);
        CloseAll();
        struck = fault.calls >= at;
        fault = {};
        share = nullptr;
        smb.reset();
        EXPECT_EQ(OpenDescriptors(), descriptors);
        ExpectOldOrNewRows(table_, kept, rows);
        failures += kept ? 0 : 1;
      }
      EXPECT_GT(failures, 20);
    }
  }
}
INSTANTIATE_TEST_SUITE_P(OnDiskAndSmb, FailingCall, testing::Bool());

// A read that cannot see or use the journal of a killed writer must not answer from the half-written file.
TEST_F(EngineTest, FailingCallNeverShowsRowsOfKilledBatch) {
  const string path = folder_.Host("large.dat");
  ASSERT_EQ(CreateArchive(path.c_str(), 4000, 8, 0), 0);
  const int filled = IOpen(path.c_str());
  ASSERT_EQ(BeginBatch(filled, 1), 1);
  for (int row = 0; row < 50; ++row)
    ASSERT_EQ(Write(filled, std::to_string(10'000'000 + row).replace(0, 1, "0"), "", "kept"), 1);
  CloseAll();
  HelperProcess writer({"spill-and-wait", path});
  ASSERT_EQ(writer.Hear(), "spilled");
  writer.Signal(SIGKILL);
  writer.Wait();
  const string data = folder_.Read("large.dat");
  const string journal = folder_.Read("large.dat-journal");
  bool struck = true;
  int failures = 0;
  for (int at = 1; struck && !HasFailure(); ++at) {
    SCOPED_TRACE(at);
    const int table = IOpen(path.c_str());
    ASSERT_GT(table, 0) << GetLastErrorText();
    folder_.Write("large.dat", data);
    folder_.Write("large.dat-journal", journal);
    fault = {at, EIO, Span::kOne};
    const string found = Read(ReadKeyEq, table, 1, "00000000");
    struck = fault.calls >= at;
    fault = {};
    CloseAll();
    EXPECT_TRUE(found.empty() || found == "00000000|kept") << found.substr(0, 20);
    failures += found.empty() ? 1 : 0;
  }
  EXPECT_GT(failures, 10);
}

TEST_F(EngineTest, KeepsLocksWhereOpensShareHandle) {
  Share smb(table_);
  share = &smb;
  const int table = Open();
  ASSERT_EQ(BeginBatch(table, 1), 1);
  share = nullptr;
  smb.UnlockByOthers();
  EXPECT_FALSE(CanLockWhole(table_));
  const tvl::Descriptor writer(open(table_.c_str(), O_RDWR | O_CLOEXEC));
  EXPECT_FALSE(tvl::TryLock(writer.Get(), F_WRLCK, tvl::kSqliteRegion));
  EXPECT_EQ(EndBatch(table), 1);
}

const Role kFiller("fill-table", [](const std::vector<string>& arguments) {
  const int table = IOpen(arguments[0].c_str());
  int written = 0;
  for (char key = 'a'; key <= 'z'; ++key) {
    for (char next = 'a'; next <= 'z'; ++next) written += Write(table, {key, next}, "", "row");
  }
  return written == 26 * 26 ? 0 : 1;
});

TEST_F(EngineTest, ReadsTableLongerThanItsCachedSize) {
  const int table = Open();
  ASSERT_EQ(Write(table, "0", "", "old"), 1);
  EXPECT_EQ(All(table).size(), 1U);
  cached_size = std::filesystem::file_size(table_);
  ASSERT_EQ(HelperProcess({"fill-table", table_}).Wait(), 0);
  EXPECT_EQ(All(table).size(), 1U + 26 * 26) << GetLastErrorText();
  EXPECT_FALSE(cached_size.has_value());
  cached_size.reset();
}

const Role kWriterOnShare("write-on-share", [](const std::vector<string>& arguments) {
  std::optional<Share> smb;
  if (arguments[1] == "smb") share = &smb.emplace(arguments[0]);
  return Write(IOpen(arguments[0].c_str()), "0", "", arguments[2]) == 1 ? 0 : 1;
});

// On SMB a journal tells whether the table has changed. A client on the server's own disk truncates it.
TEST_F(EngineTest, SeesChangesOfOtherClientsOnSmb) {
  Share smb(table_);
  share = &smb;
  const int table = Open();
  int turn = 0;
  for (const char* place : {"smb", "smb", "disk", "smb", "disk", "disk"}) {
    const string record = std::to_string(++turn);
    ASSERT_EQ(HelperProcess({"write-on-share", table_, place, record}).Wait(), 0);
    EXPECT_EQ(Read(ReadKeyEq, table, 1, "0"), "0|" + record);
    EXPECT_EQ(Write(table, "1", "", record), 1) << GetLastErrorText();
  }
  EXPECT_EQ(All(table), (Rows{"0|6", "1|6"}));
  share = nullptr;
}

// The files of a table as a power failure may leave them at the moment when its first page is overwritten.
class CutTest : public EngineTest {
 protected:
  // Fills the pages of the table, changes all of its rows in one transaction, and keeps what the files were.
  void ChangeAndKeep() {
    ASSERT_EQ(CreateArchive(path_.c_str(), kLength, 4, 0), 0);
    table_ = IOpen(path_.c_str());
    ASSERT_EQ(WriteAll('o'), 1);
    old_ = All(table_);
    struct stat data = {};
    ASSERT_EQ(::stat(path_.c_str(), &data), 0);
    before_write = [&](int file) {
      struct stat status = {};
      if (::fstat(file, &status) != 0 || status.st_ino != data.st_ino) return;
      before_write = nullptr;
      data_ = folder_.Read(kName);
      journal_ = folder_.Read(kJournal);
    };
    ASSERT_EQ(WriteAll('n'), 1);
    ASSERT_FALSE(journal_.empty()) << "no page was written";
  }

  void Restore(const string& data, const string& journal) {
    folder_.Write(kName, data);
    folder_.Write(kJournal, journal);
  }

  void ExpectOldRows(const string& data, const string& journal) {
    CloseAll();
    Restore(data, journal);
    EXPECT_EQ(All(IOpen(path_.c_str())), old_) << GetLastErrorText();
  }

  static constexpr const char* kName = "cut.dat";
  static constexpr const char* kJournal = "cut.dat-journal";
  static constexpr int kLength = 700;
  string path_ = folder_.Host(kName);
  int table_ = -1;
  Rows old_;
  string data_;
  string journal_;

 private:
  [[nodiscard]] int WriteAll(char letter) const {
    int written = BeginBatch(table_, 1);
    for (char key = 'a'; key <= 'p'; ++key) written &= Write(table_, {key}, "", string(kLength, letter));
    return EndBatch(table_) & written;
  }
};

// SQLite would not notice most of these: its checksums cover each 200th byte.
TEST_F(CutTest, IgnoresJournalThatIsNotComplete) {
  ChangeAndKeep();
  for (std::size_t sector = 0; sector < journal_.size() && !HasFailure(); sector += 512) {
    SCOPED_TRACE(sector);
    string damaged = journal_;
    damaged[sector + 100] ^= 'o' ^ 'n';
    ExpectOldRows(data_, sector == 0 ? journal_ : damaged);
    ExpectOldRows(data_, string(journal_).replace(sector, 512, 512, '\0'));
    ExpectOldRows(data_, journal_.substr(0, sector));
  }
  CloseAll();
  EXPECT_EQ(CheckIntegrity(path_), "ok");
}

TEST_F(CutTest, RollsBackByCompleteJournal) {
  ChangeAndKeep();
  const string changed = folder_.Read(kName);
  for (std::size_t cut = 0; cut < changed.size() && !HasFailure(); cut += 512) {
    SCOPED_TRACE(cut);
    ExpectOldRows(changed.substr(0, cut) + data_.substr(cut), journal_);
    ExpectOldRows(data_.substr(0, cut) + changed.substr(cut), journal_);
  }
  CloseAll();
  EXPECT_EQ(CheckIntegrity(path_), "ok");
}

// On SMB the header of a finished journal is overwritten instead.
TEST_F(CutTest, SeesJournalOfKilledWriterOnSmb) {
  Share smb(path_);
  share = &smb;
  ChangeAndKeep();
  const string finished = folder_.Read(kJournal);
  ASSERT_EQ(finished.size(), journal_.size());
  EXPECT_EQ(finished[0], 0);
  EXPECT_FALSE(CanLockWhole(folder_.Host(kJournal))) << "its lock keeps this computer from a lease";
  const string changed = folder_.Read(kName);
  const Rows rows = All(table_);
  EXPECT_NE(rows, old_);
  Restore(changed.substr(0, changed.size() / 2) + data_.substr(changed.size() / 2), journal_);
  EXPECT_EQ(All(table_), old_) << GetLastErrorText();
  EXPECT_EQ(Write(table_, "a", "", "next"), 1) << GetLastErrorText();
  share = nullptr;
  EXPECT_EQ(Read(ReadKeyEq, table_, 1, "a"), "a|next");
}

}  // namespace
