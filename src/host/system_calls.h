#ifndef TVL_HOST_SYSTEM_CALLS_H
#define TVL_HOST_SYSTEM_CALLS_H

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/types.h>

#include <cstddef>

struct iovec;
struct open_how;
struct statvfs;

// Every call with which our code reads or changes a file: result, name, parameters. The functions behave as
// their POSIX namesakes, with these differences:
//
//   openat2             without a size
//   getdents            getdents64
//   clone               ioctl with FICLONE
//   copy_file_range     at the offsets of both files, without flags
//   fsetxattr           without flags
//   renameat_noreplace  renameat2 with RENAME_NOREPLACE
//   lock                fcntl with a command for locks
//   set_flags           fcntl with F_SETFL
#define TVL_SYSTEM_CALLS(CALL)                                                                         \
  CALL(int, open, (const char* path, int flags, mode_t mode))                                          \
  CALL(int, openat, (int folder, const char* name, int flags, mode_t mode))                            \
  CALL(int, openat2, (int folder, const char* path, const open_how* how))                              \
  CALL(int, close, (int file))                                                                         \
  CALL(ssize_t, read, (int file, void* buffer, std::size_t count))                                     \
  CALL(ssize_t, write, (int file, const void* buffer, std::size_t count))                              \
  CALL(ssize_t, pread, (int file, void* buffer, std::size_t count, off_t offset))                      \
  CALL(ssize_t, preadv2, (int file, const iovec* parts, int count, off_t offset, int flags))           \
  CALL(ssize_t, pwrite, (int file, const void* buffer, std::size_t count, off_t offset))               \
  CALL(off_t, lseek, (int file, off_t offset, int whence))                                             \
  CALL(int, fstat, (int file, struct stat* status))                                                    \
  CALL(int, stat, (const char* path, struct stat* status))                                             \
  CALL(int, lstat, (const char* path, struct stat* status))                                            \
  CALL(int, fstatat, (int folder, const char* name, struct stat* status, int flags))                   \
  CALL(ssize_t, getdents, (int folder, void* entries, std::size_t size))                               \
  CALL(int, statx, (int folder, const char* name, int flags, unsigned int mask, struct statx* status)) \
  CALL(int, truncate, (const char* path, off_t length))                                                \
  CALL(int, ftruncate, (int file, off_t length))                                                       \
  CALL(int, clone, (int target, int source))                                                           \
  CALL(ssize_t, copy_file_range, (int source, int target, std::size_t count))                          \
  CALL(int, futimens, (int file, const timespec times[2]))                                             \
  CALL(int, utimensat, (int folder, const char* name, const timespec times[2], int flags))             \
  CALL(int, fchmod, (int file, mode_t mode))                                                           \
  CALL(int, fchown, (int file, uid_t owner, gid_t group))                                              \
  CALL(ssize_t, fgetxattr, (int file, const char* name, void* value, std::size_t size))                \
  CALL(int, fsetxattr, (int file, const char* name, const void* value, std::size_t size))              \
  CALL(int, fremovexattr, (int file, const char* name))                                                \
  CALL(ssize_t, readlinkat, (int folder, const char* name, char* target, std::size_t size))            \
  CALL(int, symlinkat, (const char* target, int folder, const char* name))                             \
  CALL(char*, realpath, (const char* path, char* resolved))                                            \
  CALL(int, access, (const char* path, int mode))                                                      \
  CALL(int, fstatfs, (int file, struct statfs* status))                                                \
  CALL(int, fstatvfs, (int file, struct statvfs* status))                                              \
  CALL(int, mkdir, (const char* path, mode_t mode))                                                    \
  CALL(int, mkdirat, (int folder, const char* name, mode_t mode))                                      \
  CALL(int, unlink, (const char* path))                                                                \
  CALL(int, unlinkat, (int folder, const char* name, int flags))                                       \
  CALL(int, rmdir, (const char* path))                                                                 \
  CALL(int, rename, (const char* from, const char* to))                                                \
  CALL(int, renameat, (int from_folder, const char* from, int to_folder, const char* to))              \
  CALL(int, renameat_noreplace, (int from_folder, const char* from, int to_folder, const char* to))    \
  CALL(int, link, (const char* from, const char* to))                                                  \
  CALL(int, fsync, (int file))                                                                         \
  CALL(int, syncfs, (int file))                                                                        \
  CALL(int, lock, (int file, int command, struct flock* lock))                                         \
  CALL(int, set_flags, (int file, int flags))

namespace tvl {

struct SystemCalls {
#define TVL_ENTRY(result, name, parameters) result(*name) parameters;
  TVL_SYSTEM_CALLS(TVL_ENTRY)
#undef TVL_ENTRY
};

// The table in use. Tests swap entries while one thread runs; all other code only reads it.
SystemCalls& System();

// Calls `visit.operator()<Entry>(name)` for each entry; `Entry` is a pointer to the member.
template <typename Visit>
void ForEachSystemCall(Visit visit) {
#define TVL_VISIT(result, name, parameters) visit.template operator()<&SystemCalls::name>(#name);
  TVL_SYSTEM_CALLS(TVL_VISIT)
#undef TVL_VISIT
}

}  // namespace tvl

#endif
