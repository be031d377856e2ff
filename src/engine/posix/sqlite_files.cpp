#include "engine/posix/sqlite_files.h"

#include <sys/stat.h>

#include <cerrno>

#include "engine/system.h"
#include "host/file_identity.h"
#include "host/fork_guard.h"
#include "host/handle_apart.h"
#include "host/system_calls.h"
#include "store/lock_ranges.h"

namespace tvl::engine {
namespace {

// Opens a journal on SMB for writing, without a lease. A write with O_DSYNC needs no request for a sync, as
// long as this computer does not cache the file.
int OpenWithoutLease(const char* path) {
  constexpr int kFlags = O_RDWR | O_NOFOLLOW;
  const HandleApart apart(path, kFlags, kOpeningByte.start);
  const int file = apart.IsOpen() ? ForkGuard::Open(path, kFlags | O_DSYNC, 0) : -1;
  // The lock keeps this computer from a lease after the other handle is closed.
  if (file >= 0) static_cast<void>(TryLock(file, LockKind::kShared, kUseByte));
  return file;
}

}  // namespace

int SqliteFiles::OpenForWriting(const char* path, int flags, mode_t mode) const {
  if (!is_on_smb_) return ForkGuard::Open(path, flags, mode);
  const int file = OpenWithoutLease(path);
  if (file >= 0 || errno != ENOENT || (flags & O_CREAT) == 0) return file;
  const FileNumber made = CreateNewFile(path);
  if (made != kNoFile) CloseFile(made);
  return OpenWithoutLease(path);
}

int SqliteFiles::OpenJournal(const char* path, int flags, mode_t mode) {
  if (journal_.Reuse() >= 0) return journal_.Reuse();
  const bool writes = (flags & O_ACCMODE) == O_RDWR;
  const int file = writes ? OpenForWriting(path, flags, mode) : ForkGuard::Open(path, flags, mode);
  struct stat status = {};
  if (file < 0 || System().fstat(file, &status) != 0) return file;
  opened_ = IdentityOf(status);
  if (writes)
    journal_.Keep(file, opened_, is_on_smb_ ? KeptJournal::Cached::kNever : KeptJournal::Cached::kPerhaps);
  return file;
}

ssize_t SqliteFiles::ReadJournal(VoidHeader& header) {
  const int file = journal_.Descriptor();
  const ssize_t length = file < 0 ? -1 : System().pread(file, header.data(), header.size(), 0);
  is_blank_ = length == 0;
  return length;
}

void SqliteFiles::StampJournal() {
  VoidHeader header = {};
  if (ReadJournal(header) != 0) return;
  header = MakeVoidHeader();
  static_cast<void>(System().pwrite(journal_.Descriptor(), header.data(), header.size(), 0));
}

// On SMB, to open a file without a lease takes several requests, and the computer must do it before another
// one wants to read the file.
void SqliteFiles::PrepareJournal(const std::string& table) {
  if (!is_on_smb_) return;
  const int file = OpenJournal((table + "-journal").c_str(), O_RDWR | O_CREAT, 0);
  if (file >= 0 && !journal_.Has(file)) ForkGuard::Close(file);
}

}  // namespace tvl::engine
