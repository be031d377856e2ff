#ifndef TVL_HOST_FILE_IDENTITY_H
#define TVL_HOST_FILE_IDENTITY_H

#include <sys/stat.h>

#include <compare>
#include <cstdint>
#include <optional>

namespace tvl {

// Which file it is, by whatever name.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  auto operator<=>(const FileIdentity&) const = default;  // NOLINT(modernize-use-nullptr): a false alarm
};

[[nodiscard]] inline FileIdentity IdentityOf(const struct stat& status) {
  return {status.st_dev, status.st_ino};
}

// Of an open file, or of what a path leads to, links followed. Empty, with the reason in errno, if it cannot
// be examined.
[[nodiscard]] std::optional<FileIdentity> IdentityOf(int file);
[[nodiscard]] std::optional<FileIdentity> IdentityOf(const char* path);

// Returns 0 if `name` in `folder` still is the file `opened`, EBUSY if it has become another, or the errno
// value of a name that cannot be examined. A link is not followed.
[[nodiscard]] int CheckName(int folder, const char* name, const FileIdentity& opened);

}  // namespace tvl

#endif
