#include "base/low_file.h"

#include "base/file_helpers.h"
#include "platform/held_file.h"

HANDLE LowOpen(const char* path, int flags) {
  DWORD disposition = OPEN_EXISTING;
  const bool truncates = (flags & kLowTruncate) != 0;
  if (truncates || ((flags & kLowCreate) != 0 && FileExists(path) == 0)) disposition = CREATE_ALWAYS;
  DWORD access = GENERIC_READ;
  if ((flags & (kLowWriteOnly | kLowReadWrite)) != 0) access |= GENERIC_WRITE;
  const HANDLE file = CreateFileA(path, access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, disposition,
                                  FILE_ATTRIBUTE_NORMAL | FILE_FLAG_RANDOM_ACCESS, 0);
  if (file != INVALID_HANDLE_VALUE && (flags & kLowAppend) != 0) SetFilePointer(file, 0, nullptr, FILE_END);
  return file;
}

BOOL LowClose(HANDLE file) {
  return CloseHandle(file);
}

unsigned int LowRead(HANDLE file, void* buffer, unsigned int count) {
  DWORD done = 0;
  return ReadFile(file, buffer, count, &done, nullptr) != 0 ? done : kLowFailed;
}

unsigned int LowWrite(HANDLE file, void* buffer, unsigned int count) {
  DWORD done = 0;
  return WriteFile(file, buffer, count, &done, nullptr) != 0 ? done : kLowFailed;
}

int LowLock(HANDLE file, int hold, int /*reserved*/) {
  if (file == INVALID_HANDLE_VALUE) return 1;
  // Returns 1 in any case: an instance that cannot hold its marker continues without presence.
  hold != 0 ? static_cast<void>(tvl::HoldFile(file)) : tvl::ReleaseFile(file);
  return 1;
}
