#include "host/file_access.h"

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "host/system_calls.h"

namespace tvl {
namespace {

constexpr const char* kListNames[] = {"system.posix_acl_access", "system.nfs4_acl"};
constexpr std::size_t kLargestList = 65536;  // the kernel's limit for an attribute

// The kernel's format of a POSIX access list: a version, then entries.
constexpr std::size_t kListHead = sizeof(std::uint32_t);
struct ListEntry {
  std::uint16_t tag;
  std::uint16_t permissions;
  std::uint32_t id;
};
constexpr std::uint16_t kNamedUser = 0x02;
constexpr std::uint16_t kOwningGroup = 0x04;

bool HasNoLists(int problem) {
  return problem == ENODATA || problem == ENOTSUP || problem == ENOSYS;
}

// Reads one list; empty if there is none.
int ReadList(int descriptor, const char* name, std::string& list) {
  list.resize(kLargestList);
  const ssize_t size = System().fgetxattr(descriptor, name, list.data(), list.size());
  list.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
  return size >= 0 || HasNoLists(errno) ? 0 : errno;
}

unsigned int Bits(mode_t mode, int shift) {
  return (mode >> static_cast<unsigned int>(shift)) & 7U;
}

}  // namespace

int FileAccess::Read(int descriptor) {
  if (System().fstat(descriptor, &status_) != 0) return errno;
  for (int kind = 0; kind < kListKinds; ++kind) {
    if (const int problem = ReadList(descriptor, kListNames[kind], lists_[kind])) return problem;
  }
  return 0;
}

int FileAccess::Apply(int descriptor, Owner owner) const {
  bool same_owner = false;
  if (const int problem = ApplyOwner(descriptor, owner, same_owner)) return problem;
  if (const int problem = ApplyLists(descriptor)) return problem;
  return System().fchmod(descriptor, status_.st_mode & (same_owner ? 07777U : 0777U)) == 0 ? 0 : errno;
}

int FileAccess::ApplyOwner(int descriptor, Owner owner, bool& same_owner) const {
  struct stat now = {};
  if (System().fstat(descriptor, &now) != 0) return errno;
  const bool same_group = now.st_gid == status_.st_gid;
  same_owner = now.st_uid == status_.st_uid;
  if (same_owner && same_group) return 0;
  if (System().fchown(descriptor, status_.st_uid, status_.st_gid) == 0) {
    same_owner = true;
    return 0;
  }
  if (same_owner || owner == Owner::kKept || !AdmitsOwnerOtherwise()) return EPERM;
  return same_group || System().fchown(descriptor, static_cast<uid_t>(-1), status_.st_gid) == 0 ? 0 : EPERM;
}

// Also replaces or removes a list that the new file inherited from its folder.
int FileAccess::ApplyLists(int descriptor) const {
  for (int kind = 0; kind < kListKinds; ++kind) {
    std::string now;
    if (const int problem = ReadList(descriptor, kListNames[kind], now)) return problem;
    const std::string& wanted = lists_[kind];
    if (now == wanted) continue;
    const int result = wanted.empty()
                           ? System().fremovexattr(descriptor, kListNames[kind])
                           : System().fsetxattr(descriptor, kListNames[kind], wanted.data(), wanted.size());
    if (result != 0) return errno;
  }
  return 0;
}

// Returns true if the owner can read and write as before after the file belongs to another user: through the
// group, as anyone, or by name.
bool FileAccess::AdmitsOwnerOtherwise() const {
  const unsigned int needed = Bits(status_.st_mode, 6) & 6U;
  const auto suffices = [needed](unsigned int permissions) { return (permissions & needed) == needed; };
  if (suffices(Bits(status_.st_mode, 0))) return true;
  const std::string& list = lists_[0];
  if (list.empty()) return suffices(Bits(status_.st_mode, 3));
  // With a list, the group bits of the mode are its mask, which limits all entries examined here.
  if (!suffices(Bits(status_.st_mode, 3))) return false;
  for (std::size_t at = kListHead; at + sizeof(ListEntry) <= list.size(); at += sizeof(ListEntry)) {
    ListEntry entry = {};
    std::memcpy(&entry, list.data() + at, sizeof entry);
    const bool counts = entry.tag == kOwningGroup || (entry.tag == kNamedUser && entry.id == status_.st_uid);
    if (counts && suffices(entry.permissions)) return true;
  }
  return false;
}

}  // namespace tvl
