#ifndef TVL_PLATFORM_SYSTEM_CALLS_H
#define TVL_PLATFORM_SYSTEM_CALLS_H

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/types.h>

#include <cstddef>

namespace tvl {

// The calls with which the platform layer changes or reads files. Tests replace them to make the n-th call
// fail. The functions behave like their POSIX namesakes.
struct SystemCalls {
  int (*open)(const char* path, int flags, mode_t mode);
  int (*openat)(int folder, const char* name, int flags);
  int (*close)(int file);
  ssize_t (*read)(int file, void* buffer, std::size_t count);
  ssize_t (*write)(int file, const void* buffer, std::size_t count);
  off_t (*lseek)(int file, off_t offset, int whence);
  int (*fstat)(int file, struct stat* status);
  int (*stat)(const char* path, struct stat* status);
  int (*lstat)(const char* path, struct stat* status);
  int (*fstatat)(int folder, const char* name, struct stat* status, int flags);
  ssize_t (*getdents)(int folder, void* entries, std::size_t size);  // getdents64
  int (*ftruncate)(int file, off_t length);
  int (*clone)(int target, int source);
  ssize_t (*copy_file_range)(int source, int target, std::size_t count);
  int (*futimens)(int file, const timespec times[2]);
  int (*utimens)(const char* path, const timespec times[2]);  // utimensat, links followed
  int (*fchmod)(int file, mode_t mode);
  int (*fchown)(int file, uid_t owner, gid_t group);
  ssize_t (*fgetxattr)(int file, const char* name, void* value, std::size_t size);
  int (*fsetxattr)(int file, const char* name, const void* value, std::size_t size);
  int (*fremovexattr)(int file, const char* name);
  ssize_t (*readlink)(const char* path, char* target, std::size_t size);
  int (*fstatfs)(int file, struct statfs* status);
  int (*mkdir)(const char* path, mode_t mode);
  int (*unlink)(const char* path);
  int (*unlinkat)(int folder, const char* name, int flags);
  int (*rmdir)(const char* path);
  int (*rename)(const char* from, const char* to);
  int (*rename_noreplace)(const char* from, const char* to);  // renameat2 with RENAME_NOREPLACE
  int (*link)(const char* from, const char* to);
  int (*fsync)(int file);
  int (*syncfs)(int file);
  int (*lock)(int file, int command, struct flock* lock);
  int (*set_flags)(int file, int flags);  // fcntl with F_SETFL
};

// Returns the table in use. Tests replace entries while only one thread runs; the library only reads it.
SystemCalls& System();

}  // namespace tvl

#endif
