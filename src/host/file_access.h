#ifndef TVL_HOST_FILE_ACCESS_H
#define TVL_HOST_FILE_ACCESS_H

#include <sys/stat.h>

#include <string>

namespace tvl {

// The owner, group, mode and access lists of a file. A file that replaces another one must be accessible to
// the same users.
class FileAccess {
 public:
  // Reads them from an open file. Returns 0 or an errno value.
  [[nodiscard]] int Read(int descriptor);

  enum class Owner { kKept, kMayChange };

  // Applies them to a file that this process has created. Returns 0 or an errno value, EPERM if the group,
  // the owner or an access list cannot be kept. If the owner may change, fails only if the present owner
  // would lose access.
  [[nodiscard]] int Apply(int descriptor, Owner owner = Owner::kMayChange) const;

 private:
  static constexpr int kListKinds = 2;

  [[nodiscard]] int ApplyOwner(int descriptor, Owner owner, bool& same_owner) const;
  [[nodiscard]] int ApplyLists(int descriptor) const;
  [[nodiscard]] bool AdmitsOwnerOtherwise() const;

  struct stat status_ = {};
  std::string lists_[kListKinds];  // empty if the file has no list of that kind
};

}  // namespace tvl

#endif
