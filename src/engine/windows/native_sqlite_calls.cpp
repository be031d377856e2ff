#include <sqlite3.h>
#include <windows.h>

#include <string>
#include <string_view>

#include "engine/sqlite/library.h"
#include "engine/sqlite/passage.h"
#include "engine/sqlite/region.h"
#include "engine/windows/sqlite_layer.h"

namespace tvl::engine {
namespace {

// No file stays open between transactions, so there is nothing to remember.
class NoFiles : public SeenFiles {
 public:
  void Forget() override {}
};

FileNumber NumberOf(HANDLE file) {
  return reinterpret_cast<FileNumber>(file);
}

bool IsJournal(LPCWSTR path) {
  return std::wstring_view(path).ends_with(L"-journal");
}

BOOL Refuse(DWORD problem) {
  SetLastError(problem);
  return FALSE;
}

// Answers lock requests of SQLite, whose locks are acquired before it requests them. On its way to any lock,
// also a shared one, SQLite requests the first byte of the region exclusively.
BOOL WINAPI LockNothing(HANDLE file, DWORD flags, DWORD /*reserved*/, DWORD /*low*/, DWORD /*high*/,
                        OVERLAPPED* place) {
  Region* const region = CurrentPassage().region;
  const bool is_step = place->Offset == static_cast<DWORD>(kSqliteRegion.start);
  const bool is_exclusive = (flags & LOCKFILE_EXCLUSIVE_LOCK) != 0 && !is_step;
  const LockKind kind = is_exclusive ? LockKind::kExclusive : LockKind::kShared;
  return region != nullptr && region->Covers(NumberOf(file), kind) ? TRUE : Refuse(ERROR_LOCK_VIOLATION);
}

BOOL WINAPI UnlockNothing(HANDLE /*file*/, DWORD /*reserved*/, DWORD /*low*/, DWORD /*high*/,
                          OVERLAPPED* /*place*/) {
  return TRUE;
}

// Others may delete and rename what is open, as on other systems: locks protect a table in use.
HANDLE OpenShared(LPCWSTR path, DWORD access, DWORD creation, DWORD flags) {
  return CreateFileW(path, access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, creation,
                     flags, nullptr);
}

HANDLE WINAPI Open(LPCWSTR path, DWORD access, DWORD /*share*/, SECURITY_ATTRIBUTES* /*security*/,
                   DWORD creation, DWORD flags, HANDLE /*model*/) {
  const HANDLE file = OpenShared(path, access, creation, flags);
  if (file != INVALID_HANDLE_VALUE && !IsJournal(path)) CurrentPassage().last_opened = NumberOf(file);
  return file;
}

// Opens a journal to look at it. A file server is always asked: this computer may have cached for seconds
// what a journal was before its writer was killed, and also that there was none, unless the open may create
// it.
HANDLE OpenFresh(LPCWSTR path) {
  const HANDLE file = OpenShared(path, FILE_READ_ATTRIBUTES, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL);
  if (file != INVALID_HANDLE_VALUE) return file;
  return OpenShared(path, FILE_READ_ATTRIBUTES, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL);
}

BOOL WINAPI Look(LPCWSTR path, GET_FILEEX_INFO_LEVELS level, void* attributes) {
  if (!IsJournal(path) || CurrentPassage().region == nullptr)
    return GetFileAttributesExW(path, level, attributes);
  const HANDLE file = OpenFresh(path);
  if (file == INVALID_HANDLE_VALUE) return FALSE;
  BY_HANDLE_FILE_INFORMATION found = {};
  const BOOL known = GetFileInformationByHandle(file, &found);
  const DWORD problem = GetLastError();
  CloseHandle(file);
  if (known == 0) return Refuse(problem);
  *static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(attributes) = {found.dwFileAttributes, found.ftCreationTime,
                                                          found.ftLastAccessTime, found.ftLastWriteTime,
                                                          found.nFileSizeHigh,    found.nFileSizeLow};
  return TRUE;
}

std::string Converted(const std::string& path, UINT from, UINT to) {
  std::wstring wide(path.size(), L'\0');
  const int characters = MultiByteToWideChar(from, 0, path.data(), static_cast<int>(path.size()), wide.data(),
                                             static_cast<int>(wide.size()));
  constexpr std::size_t kMostBytes = 3;  // of a 16-bit unit
  std::string bytes(static_cast<std::size_t>(characters) * kMostBytes, '\0');
  const int length = WideCharToMultiByte(to, 0, wide.data(), characters, bytes.data(),
                                         static_cast<int>(bytes.size()), nullptr, nullptr);
  bytes.resize(static_cast<std::size_t>(length));
  return bytes;
}

template <typename Function>
sqlite3_syscall_ptr AsSystemCall(Function* function) {
  return reinterpret_cast<sqlite3_syscall_ptr>(function);
}

}  // namespace

bool ReplaceSystemCalls() {
  sqlite3_vfs* files = sqlite3_vfs_find(kSystemLayer);
  if (files == nullptr) return false;
  const struct {
    const char* name;
    sqlite3_syscall_ptr function;
  } replacements[] = {
      {"LockFileEx", AsSystemCall(LockNothing)},
      {"UnlockFileEx", AsSystemCall(UnlockNothing)},
      {"CreateFileW", AsSystemCall(Open)},
      {"GetFileAttributesExW", AsSystemCall(Look)},
  };
  for (const auto& replacement : replacements) {
    if (files->xSetSystemCall(files, replacement.name, replacement.function) != SQLITE_OK) return false;
  }
  return RegisterSqliteLayer();
}

// SQLite takes UTF-8, whatever the code page of the process is.
std::string PathForSqlite(const std::string& path) {
  return Converted(path, CP_ACP, CP_UTF8);
}

std::string PathFromSqlite(const char* path) {
  return Converted(path, CP_UTF8, CP_ACP);
}

std::unique_ptr<SeenFiles> SeenFiles::Create() {
  return std::make_unique<NoFiles>();
}

}  // namespace tvl::engine
