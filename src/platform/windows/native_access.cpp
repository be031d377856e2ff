#include <aclapi.h>
#include <windows.h>

#include <memory>
#include <string>

#include "platform/windows/native.h"
#include "platform/windows/native_errors.h"

namespace tvl::native {
namespace {

struct FreeLocal {
  void operator()(void* block) const { LocalFree(block); }
};
using LocalBlock = std::unique_ptr<void, FreeLocal>;

// Returns true if all entries come from the folder, as those of a new file do.
bool IsInherited(PSECURITY_DESCRIPTOR descriptor, ACL* list) {
  SECURITY_DESCRIPTOR_CONTROL control = 0;
  DWORD revision = 0;
  if (GetSecurityDescriptorControl(descriptor, &control, &revision) == 0 ||
      (control & SE_DACL_PROTECTED) != 0)
    return false;
  for (DWORD i = 0; list != nullptr && i < list->AceCount; ++i) {
    void* entry = nullptr;
    if (GetAce(list, i, &entry) == 0 || (static_cast<ACE_HEADER*>(entry)->AceFlags & INHERITED_ACE) == 0)
      return false;
  }
  return true;
}

}  // namespace

int CopyAccess(const char* from, const char* to) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ACL* list = nullptr;
  const DWORD read = GetNamedSecurityInfoA(from, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                                           &list, nullptr, &descriptor);
  const LocalBlock owner(descriptor);
  // A file system without access lists has none to keep.
  if (read != ERROR_SUCCESS) return read == ERROR_NOT_SUPPORTED ? 0 : ErrnoOf(read);
  if (IsInherited(descriptor, list)) return 0;
  SECURITY_DESCRIPTOR_CONTROL control = 0;
  DWORD revision = 0;
  GetSecurityDescriptorControl(descriptor, &control, &revision);
  const DWORD protection = (control & SE_DACL_PROTECTED) != 0 ? PROTECTED_DACL_SECURITY_INFORMATION
                                                              : UNPROTECTED_DACL_SECURITY_INFORMATION;
  std::string name(to);
  const DWORD set = SetNamedSecurityInfoA(name.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION | protection,
                                          nullptr, nullptr, list, nullptr);
  return set == ERROR_SUCCESS ? 0 : ErrnoOf(set);
}

}  // namespace tvl::native
