#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "engine/patience.h"
#include "engine/posix/sqlite_files.h"
#include "engine/sqlite/library.h"
#include "engine/sqlite/passage.h"
#include "engine/sqlite/region.h"
#include "host/file_identity.h"
#include "host/file_lock.h"
#include "host/fork_guard.h"
#include "host/system_calls.h"

namespace tvl::engine {
namespace {

constexpr int kGenerationShift = 40;

// Answers a lock request of SQLite, whose locks are acquired before it requests them.
int OnLockRequest(int descriptor, int command, struct flock& lock) {
  Region* const region = CurrentPassage().region;
  if (region == nullptr) {
    errno = ENOLCK;
    return -1;
  }
  const bool is_ours = descriptor == region->File();
  if (is_ours && command == F_GETLK) {
    lock.l_pid = 0;  // SQLite leaves it as it is, and the kernel requires 0 for this kind of lock
    // Another program may be writing while we only read.
    if (region->Held() != Region::Strength::kExclusive) return System().lock(descriptor, F_OFD_GETLK, &lock);
    lock.l_type = F_UNLCK;
    return 0;
  }
  const LockKind kind = lock.l_type == F_WRLCK ? LockKind::kExclusive : LockKind::kShared;
  if ((is_ours && lock.l_type == F_UNLCK) || region->Covers(descriptor, kind)) return 0;
  errno = EAGAIN;
  return -1;
}

// Replaces fcntl for SQLite.
int FcntlWithoutLocks(int descriptor, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  const int result = command == F_SETLK || command == F_GETLK
                         ? OnLockRequest(descriptor, command, *va_arg(arguments, struct flock*))
                         : fcntl(descriptor, command, va_arg(arguments, long));
  va_end(arguments);
  return result;
}

// Returns what is remembered of the files of the connection that the thread uses; null if there is none.
SqliteFiles* FilesInUse() {
  Region* const region = CurrentPassage().region;
  return region == nullptr ? nullptr : static_cast<SqliteFiles*>(&region->Seen());
}

bool IsJournal(const char* path) {
  return std::string_view(path).ends_with("-journal");
}

int Open(const char* path, int flags, int mode) {
  const auto rights = static_cast<mode_t>(mode);
  SqliteFiles* const files = FilesInUse();
  if (files != nullptr && IsJournal(path)) return files->OpenJournal(path, flags, rights);
  const int opened = ForkGuard::Open(path, flags, rights);
  CurrentPassage().last_opened = opened;
  return opened;
}

// Returns whether it is a journal that stays open for the next transaction.
bool IsKept(int descriptor) {
  SqliteFiles* const files = FilesInUse();
  return files != nullptr && files->Journal().Has(descriptor);
}

int Close(int descriptor) {
  return IsKept(descriptor) ? 0 : ForkGuard::Close(descriptor);
}

// A network file system may answer from a cache that is seconds old, from a time when the writer of the
// journal was still alive. An SMB server is asked once by the kept descriptor and twice by the name.
int StatFresh(const char* path, const KeptJournal& kept, struct stat* status) {
  constexpr unsigned int kMask = STATX_SIZE | STATX_NLINK;
  struct statx fresh = {};
  const bool is_fresh =
      kept.Descriptor() >= 0 &&
      System().statx(kept.Descriptor(), "", AT_EMPTY_PATH | AT_STATX_FORCE_SYNC, kMask, &fresh) == 0;
  if (is_fresh && System().stat(path, status) == 0 && kept.Is(*status)) return 0;
  static_cast<void>(System().statx(AT_FDCWD, path, AT_STATX_FORCE_SYNC, kMask, &fresh));
  return System().stat(path, status);
}

// On SMB a finished journal keeps its length. What is read from its kept descriptor comes from the server.
bool IsKeptJournalVoid(SqliteFiles& files, const char* path, struct stat* status) {
  VoidHeader header = {};
  const ssize_t length = files.ReadJournal(header);
  if (length < 0 || header[0] != 0) return false;
  if (System().stat(path, status) != 0 || !files.Journal().Is(*status)) return false;
  CurrentPassage().region->Change().NoteJournal({header.data(), static_cast<std::size_t>(length)});
  status->st_size = 0;  // to SQLite, an empty journal does not exist
  return true;
}

// A transaction that only looks for a journal must not open it: the server would have to take back the lease
// of a computer with an earlier release that wrote it last (host/handle_apart.h).
int Stat(const char* path, struct stat* status) {
  SqliteFiles* const files = FilesInUse();
  if (files == nullptr || !IsJournal(path)) return System().stat(path, status);
  KeptJournal& journal = files->Journal();
  if (files->SyncsJournal() && IsKeptJournalVoid(*files, path, status)) {
    journal.NoteSeen(status);
    return 0;
  }
  int result = StatFresh(path, journal, status);
  if (result == 0 && journal.DropDeleted(*status)) result = StatFresh(path, journal, status);
  const int problem = errno;
  if (result != 0 && problem != ENOENT) CurrentPassage().region->NoteUnseenJournal();
  journal.NoteSeen(result == 0 ? status : nullptr);
  errno = problem;
  return result;
}

// Truncates a journal by a name, because an SMB client makes the server write a file to its disk before it is
// truncated through a descriptor. SQLite does that itself, before and afterwards.
int Truncate(int descriptor, off_t length) {
  if (IsKept(descriptor)) {
    char name[32];
    std::snprintf(name, sizeof name, "/proc/self/fd/%d", descriptor);
    if (System().truncate(name, length) == 0) return 0;
  }
  return System().ftruncate(descriptor, length);
}

// SQLite opens the folder to sync it whenever it has opened a journal. Once is enough for a journal that is
// kept.
int OpenFolder(const char* path, int* descriptor) {
  SqliteFiles* const files = FilesInUse();
  if (files == nullptr || files->IsJournalNamed()) return SQLITE_CANTOPEN;
  const std::string_view name(path);
  const std::size_t slash = name.rfind('/');
  const std::string folder(slash == std::string_view::npos ? "." : name.substr(0, slash + 1));
  *descriptor = ForkGuard::Open(folder.c_str(), O_RDONLY | O_DIRECTORY, 0);
  if (*descriptor < 0) return SQLITE_CANTOPEN;
  files->NoteSyncedFolder();
  return SQLITE_OK;
}

// As root, SQLite changes the owner of a journal to that of the table each time it opens the journal.
int ChangeOwnerOnce(int descriptor, uid_t user, gid_t group) {
  struct stat status = {};
  if (System().fstat(descriptor, &status) == 0 && status.st_uid == user && status.st_gid == group) return 0;
  return System().fchown(descriptor, user, group);
}

// The bytes of a database's header that SQLite reads in each transaction to find out whether another process
// has changed the file. They contain the number of pages.
constexpr off_t kChangeBytes = 24;
constexpr std::size_t kChangeLength = 16;
constexpr std::size_t kPages = 4;

ssize_t ReadAt(int descriptor, void* bytes, std::size_t count, off_t offset) {
  const ssize_t length = System().pread(descriptor, bytes, count, offset);
  const bool is_header = offset == kChangeBytes && length == static_cast<ssize_t>(kChangeLength);
  SqliteFiles* const files = FilesInUse();
  if (files != nullptr && is_header) {
    std::uint32_t pages = 0;
    std::memcpy(&pages, static_cast<const char*>(bytes) + kPages, sizeof pages);
    files->NotePages(pages);
  }
  return length;
}

// An SMB client may answer with a size that is a second old. SQLite would take a table that another computer
// has made longer for damaged.
void LookAgainAtSize(int descriptor) {
  struct statx fresh = {};
  static_cast<void>(System().statx(descriptor, "", AT_EMPTY_PATH | AT_STATX_FORCE_SYNC, STATX_SIZE, &fresh));
}

// SQLite keeps a list of files with their locks, by device and inode. In a forked child that list contains
// the parent's locks, so the child's files get another device number.
int StatForChild(int descriptor, struct stat* status) {
  Region* const region = CurrentPassage().region;
  if (region != nullptr && region->File() == descriptor && FilesInUse()->TakeOldSize())
    LookAgainAtSize(descriptor);
  const int result = System().fstat(descriptor, status);
  if (result == 0) status->st_dev ^= static_cast<dev_t>(Generation()) << kGenerationShift;
  return result;
}

// The entry of the table as SQLite calls it.
template <auto Entry>
struct Through;
template <typename Result, typename... Arguments, Result (*SystemCalls::*Entry)(Arguments...)>
struct Through<Entry> {
  static Result Call(Arguments... arguments) { return (System().*Entry)(arguments...); }
};

struct Replacement {
  const char* name;
  sqlite3_syscall_ptr function;
};

template <typename Function>
sqlite3_syscall_ptr AsSystemCall(Function* function) {
  return reinterpret_cast<sqlite3_syscall_ptr>(function);
}

}  // namespace

bool ReplaceSystemCalls() {
  sqlite3_vfs* files = sqlite3_vfs_find("unix");
  if (files == nullptr) return false;
  const Replacement replacements[] = {
      {"fcntl", AsSystemCall(FcntlWithoutLocks)},
      {"open", AsSystemCall(Open)},
      {"close", AsSystemCall(Close)},
      {"fstat", AsSystemCall(StatForChild)},
      {"stat", AsSystemCall(Stat)},
      {"openDirectory", AsSystemCall(OpenFolder)},
      {"fchown", AsSystemCall(ChangeOwnerOnce)},
      {"access", AsSystemCall(Through<&SystemCalls::access>::Call)},
      {"read", AsSystemCall(Through<&SystemCalls::read>::Call)},
      {"write", AsSystemCall(Through<&SystemCalls::write>::Call)},
      {"pread", AsSystemCall(ReadAt)},
      {"pread64", AsSystemCall(ReadAt)},
      {"pwrite", AsSystemCall(Through<&SystemCalls::pwrite>::Call)},
      {"pwrite64", AsSystemCall(Through<&SystemCalls::pwrite>::Call)},
      {"ftruncate", AsSystemCall(Truncate)},
      {"fchmod", AsSystemCall(Through<&SystemCalls::fchmod>::Call)},
      {"unlink", AsSystemCall(Through<&SystemCalls::unlink>::Call)},
      {"lstat", AsSystemCall(Through<&SystemCalls::lstat>::Call)},
  };
  for (const Replacement& replacement : replacements) {
    if (files->xSetSystemCall(files, replacement.name, replacement.function) != SQLITE_OK) return false;
  }
  return true;
}

std::string PathForSqlite(const std::string& path) {
  return path;
}

std::string PathFromSqlite(const char* path) {
  return path;
}

std::unique_ptr<SeenFiles> SeenFiles::Create() {
  return std::make_unique<SqliteFiles>();
}

}  // namespace tvl::engine
