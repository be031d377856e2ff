#include <windows.h>

#include "platform/windows/native.h"
#include "platform/windows/native_errors.h"

namespace tvl::native {
namespace {

// Newer than some headers and systems that this code is built for and runs on.
constexpr auto kRenameEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(22);
struct RenameEx {
  DWORD flags;
  HANDLE folder;
  DWORD length;  // of the name in bytes
  WCHAR name[MAX_PATH];
};
constexpr DWORD kReplaces = 0x1;
constexpr DWORD kReplacesOpenFile = 0x2;

// Stores the full path in wide characters. Returns false if it does not fit.
bool SetName(const char* path, RenameEx& rename) {
  WCHAR wide[MAX_PATH];
  const UINT code_page = AreFileApisANSI() != 0 ? CP_ACP : CP_OEMCP;
  if (MultiByteToWideChar(code_page, 0, path, -1, wide, MAX_PATH) == 0) return false;
  const DWORD length = GetFullPathNameW(wide, MAX_PATH, rename.name, nullptr);
  rename.length = length * static_cast<DWORD>(sizeof(WCHAR));
  return length > 0 && length < MAX_PATH;
}

// Those who have the target open keep its old contents.
bool RenameOverOpenFile(const char* from, const char* to) {
  RenameEx rename = {kReplaces | kReplacesOpenFile, nullptr, 0, {}};
  if (!SetName(to, rename)) return false;
  const HANDLE file =
      CreateFileA(from, DELETE | SYNCHRONIZE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                  OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  const bool done = SetFileInformationByHandle(file, kRenameEx, &rename, sizeof rename) != 0;
  CloseHandle(file);
  return done;
}

}  // namespace

// Where the file system cannot replace an open file, MoveFileExA still replaces one that nobody has open.
int Rename(const char* from, const char* to, bool replaces) {
  if (replaces && RenameOverOpenFile(from, to)) return 0;
  return MoveFileExA(from, to, replaces ? MOVEFILE_REPLACE_EXISTING : 0U) != 0 ? 0 : LastProblem();
}

}  // namespace tvl::native
