#include "host/system_calls.h"

#include <dirent.h>
#include <linux/fs.h>
#include <linux/openat2.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace tvl {
namespace calls {

// Those that differ from their POSIX namesakes, or take a variable number of arguments there.

int open(const char* path, int flags, mode_t mode) {
  return ::open(path, flags, mode);
}

int openat(int folder, const char* name, int flags, mode_t mode) {
  return ::openat(folder, name, flags, mode);
}

int openat2(int folder, const char* path, const open_how* how) {
  return static_cast<int>(::syscall(SYS_openat2, folder, path, how, sizeof *how));
}

ssize_t getdents(int folder, void* entries, std::size_t size) {
  return ::getdents64(folder, entries, size);
}

int clone(int target, int source) {
  return ::ioctl(target, FICLONE, source);
}

ssize_t copy_file_range(int source, int target, std::size_t count) {
  return ::copy_file_range(source, nullptr, target, nullptr, count, 0);
}

int fsetxattr(int file, const char* name, const void* value, std::size_t size) {
  return ::fsetxattr(file, name, value, size, 0);
}

int renameat_noreplace(int from_folder, const char* from, int to_folder, const char* to) {
  return ::renameat2(from_folder, from, to_folder, to, RENAME_NOREPLACE);
}

int lock(int file, int command, struct flock* lock) {
  return ::fcntl(file, command, lock);
}

int set_flags(int file, int flags) {
  return ::fcntl(file, F_SETFL, flags);
}

// A name that is not defined above is that of the C library's function.
constinit SystemCalls table = {
#define TVL_FUNCTION(result, name, parameters) .name = name,
    TVL_SYSTEM_CALLS(TVL_FUNCTION)
#undef TVL_FUNCTION
};

}  // namespace calls

SystemCalls& System() {
  return calls::table;
}

}  // namespace tvl
