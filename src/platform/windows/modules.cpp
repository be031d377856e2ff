#include "platform/modules.h"

#include <cerrno>

#include "platform/files.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/windows/native.h"

namespace native = tvl::native;

DWORD GetModuleFileNameA(HMODULE /*module*/, char* buffer, DWORD size) {
  return static_cast<DWORD>(native::ModulePath(nullptr, buffer, size));
}

DWORD tvl::OwnModuleFileName(char* buffer, DWORD size) {
  static const char anchor = 0;
  return static_cast<DWORD>(native::ModulePath(&anchor, buffer, size));
}

// A missing module is no failure to report; the system checks one that exists.
HMODULE LoadLibraryA(const char* path) {
  if (!tvl::NameExists(path)) return nullptr;
  HMODULE module = native::LoadModule(tvl::HostPath(path).Text());
  if (module == nullptr) tvl::NoteError(path, ENOEXEC);
  return module;
}

FARPROC GetProcAddress(HMODULE module, const char* name) {
  return module == nullptr ? nullptr : native::AddressOf(module, name);
}

BOOL FreeLibrary(HMODULE module) {
  return native::UnloadModule(module) ? 1 : 0;
}
