#include "platform/system_calls.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace tvl {
namespace {

int Open(const char* path, int flags, mode_t mode) {
  return ::open(path, flags, mode);
}

int OpenAt(int folder, const char* name, int flags) {
  return ::openat(folder, name, flags);
}

int Clone(int target, int source) {
  return ::ioctl(target, FICLONE, source);
}

ssize_t CopyFileRange(int source, int target, std::size_t count) {
  return ::copy_file_range(source, nullptr, target, nullptr, count, 0);
}

int Utimens(const char* path, const timespec times[2]) {
  return utimensat(AT_FDCWD, path, times, 0);
}

int Fsetxattr(int file, const char* name, const void* value, std::size_t size) {
  return ::fsetxattr(file, name, value, size, 0);
}

int RenameNoReplace(const char* from, const char* to) {
  return ::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE);
}

int Lock(int file, int command, struct flock* lock) {
  return ::fcntl(file, command, lock);
}

int SetFlags(int file, int flags) {
  return ::fcntl(file, F_SETFL, flags);
}

constinit SystemCalls system_calls = {
    .open = Open,
    .openat = OpenAt,
    .close = ::close,
    .read = ::read,
    .write = ::write,
    .lseek = ::lseek,
    .fstat = ::fstat,
    .stat = ::stat,
    .lstat = ::lstat,
    .fstatat = ::fstatat,
    .getdents = ::getdents64,
    .ftruncate = ::ftruncate,
    .clone = Clone,
    .copy_file_range = CopyFileRange,
    .futimens = ::futimens,
    .utimens = Utimens,
    .fchmod = ::fchmod,
    .fchown = ::fchown,
    .fgetxattr = ::fgetxattr,
    .fsetxattr = Fsetxattr,
    .fremovexattr = ::fremovexattr,
    .readlink = ::readlink,
    .fstatfs = ::fstatfs,
    .mkdir = ::mkdir,
    .unlink = ::unlink,
    .unlinkat = ::unlinkat,
    .rmdir = ::rmdir,
    .rename = ::rename,
    .rename_noreplace = RenameNoReplace,
    .link = ::link,
    .fsync = ::fsync,
    .syncfs = ::syncfs,
    .lock = Lock,
    .set_flags = SetFlags,
};

}  // namespace

SystemCalls& System() {
  return system_calls;
}

}  // namespace tvl
