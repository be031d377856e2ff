#include "platform/modules.h"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/host_path.h"
#include "platform/last_error.h"

namespace {

DWORD GiveLogicalPath(const char* host_path, std::size_t length, char* buffer, DWORD size) {
  if (size > 0) buffer[0] = 0;
  if (length == 0 || length >= size) return 0;
  std::replace_copy(host_path, host_path + length, buffer, '/', '\\');
  buffer[length] = 0;
  return static_cast<DWORD>(length);
}

}  // namespace

DWORD GetModuleFileNameA(HMODULE /*module*/, char* buffer, DWORD size) {
  char path[4096];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  return GiveLogicalPath(path, length < 0 ? 0 : static_cast<std::size_t>(length), buffer, size);
}

DWORD tvl::OwnModuleFileName(char* buffer, DWORD size) {
  static const char anchor = 0;
  Dl_info info = {};
  const char* path = dladdr(&anchor, &info) != 0 && info.dli_fname != nullptr ? info.dli_fname : "";
  return GiveLogicalPath(path, std::strlen(path), buffer, size);
}

HMODULE LoadLibraryA(const char* path) {
  const tvl::HostPath host(path);
  if (access(host.Text(), F_OK) != 0) return nullptr;
  HMODULE module = dlopen(host.Text(), RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) tvl::NoteError(path, ENOEXEC);
  return module;
}

FARPROC GetProcAddress(HMODULE module, const char* name) {
  return module == nullptr ? nullptr : reinterpret_cast<FARPROC>(dlsym(module, name));
}

BOOL FreeLibrary(HMODULE module) {
  return dlclose(module) == 0 ? 1 : 0;
}
