#include "base/file_helpers.h"

#include "platform/files.h"

int IsDirectory(const char* path) {
  const DWORD attributes = GetFileAttributesA(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? 1 : 0;
}

int FileExists(const char* path) {
  return GetFileAttributesA(path) != INVALID_FILE_ATTRIBUTES ? 1 : 0;
}

int FileLength(const char* path) {
  const HANDLE file = CreateFileA(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL | FILE_FLAG_RANDOM_ACCESS, 0);
  if (file == INVALID_HANDLE_VALUE) return 0;
  const DWORD size = GetFileSize(file, nullptr);
  CloseHandle(file);
  return static_cast<int>(size);
}
