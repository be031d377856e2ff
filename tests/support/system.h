#ifndef TVL_TESTS_SUPPORT_SYSTEM_H
#define TVL_TESTS_SUPPORT_SYSTEM_H

// What tests of the library use of the system, with the names that it has on POSIX.

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#ifdef _WIN32
#include <filesystem>
#include <random>
#include <string>

#include "platform/files.h"

// Links need a privilege there.
constexpr bool kHasLinks = false;
// A name cannot contain all characters.
constexpr bool kHasAllNames = false;
constexpr bool kReplacesOpenFiles = false;
// Wine keeps each open of a file until nobody has locked the file any more.
constexpr bool kClosesLockedFiles = false;
// Wine notices the end of a stream only once everything has been read.
constexpr bool kSeesEndWithUnreadBytes = false;
// Names that differ in case only are the same.
constexpr bool kIgnoresCase = true;
constexpr char kNullDevice[] = "NUL";

struct FileInfo {
  unsigned int st_mode;
  timespec st_atim;
  timespec st_mtim;
};

inline timespec TimeSpecOf(const FILETIME& time) {
  return {static_cast<time_t>(time.seconds), time.nanoseconds};
}

inline FileInfo InfoOf(const std::string& path) {
  FILETIME created = {};
  FILETIME accessed = {};
  FILETIME written = {};
  const HANDLE file = CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, 0);
  if (file == INVALID_HANDLE_VALUE) return {};
  GetFileTime(file, &created, &accessed, &written);
  CloseHandle(file);
  return {0, TimeSpecOf(accessed), TimeSpecOf(written)};
}

inline void SetTimesOf(const std::string& path, timespec accessed, timespec written) {
  const FILETIME times[] = {{accessed.tv_sec, static_cast<std::int32_t>(accessed.tv_nsec)},
                            {written.tv_sec, static_cast<std::int32_t>(written.tv_nsec)}};
  const HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, 0);
  SetFileTime(file, nullptr, &times[0], &times[1]);
  CloseHandle(file);
}

inline std::string HostName() {
  return getenv("COMPUTERNAME");
}

// There is only one user.
inline bool BecomeUser(int user) {
  return user == 0;
}

inline char* mkdtemp(char* pattern) {
  const std::string path(pattern, std::string(pattern).size() - 6);
  const std::string made = path + std::to_string(std::random_device()() % 900000 + 100000);
  return std::filesystem::create_directory(made) ? made.copy(pattern, made.size()), pattern : nullptr;
}
#else
#include <string>

constexpr bool kHasLinks = true;
constexpr bool kHasAllNames = true;
constexpr bool kReplacesOpenFiles = true;
constexpr bool kClosesLockedFiles = true;
constexpr bool kSeesEndWithUnreadBytes = true;
constexpr bool kIgnoresCase = false;
constexpr char kNullDevice[] = "\\dev\\null";

using FileInfo = struct stat;

// All 0 if there is no such file.
inline FileInfo InfoOf(const std::string& path) {
  FileInfo info = {};
  stat(path.c_str(), &info);
  return info;
}

inline std::string HostName() {
  char name[256] = {};
  return gethostname(name, sizeof name - 1) == 0 ? name : "";
}

// Changes the user of the process, unless it is 0.
inline bool BecomeUser(int user) {
  const auto id = static_cast<uid_t>(user);
  return user == 0 || (setgid(id) == 0 && setuid(id) == 0);
}

inline void SetTimesOf(const std::string& path, timespec accessed, timespec written) {
  const timespec times[2] = {accessed, written};
  utimensat(AT_FDCWD, path.c_str(), times, 0);
}
#endif

#define TVL_SKIP_WITHOUT_LINKS() \
  if (!kHasLinks) GTEST_SKIP() << "links need a privilege on this system"

#endif
