#include "host/file_identity.h"

#include <cerrno>

#include "host/system_calls.h"

namespace tvl {

std::optional<FileIdentity> IdentityOf(int file) {
  struct stat status = {};
  if (System().fstat(file, &status) != 0) return std::nullopt;
  return IdentityOf(status);
}

std::optional<FileIdentity> IdentityOf(const char* path) {
  struct stat status = {};
  if (System().stat(path, &status) != 0) return std::nullopt;
  return IdentityOf(status);
}

int CheckName(int folder, const char* name, const FileIdentity& opened) {
  struct stat status = {};
  if (System().fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return errno;
  return IdentityOf(status) == opened ? 0 : EBUSY;
}

}  // namespace tvl
