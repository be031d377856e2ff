#include "platform/modules.h"

#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "host/system_calls.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/posix/open_file.h"

namespace {

template <typename Header>
bool ReadHeader(int descriptor, std::size_t offset, Header& header) {
  return tvl::System().pread(descriptor, &header, sizeof header, static_cast<off_t>(offset)) ==
         static_cast<ssize_t>(sizeof header);
}

bool EndsInside(const ElfW(Phdr) & segment, std::size_t size) {
  return segment.p_type != PT_LOAD ||
         (segment.p_offset <= size && segment.p_filesz <= size - segment.p_offset);
}

// Returns true if the file has all the bytes that loading maps. The loader does not check: for a truncated
// file it maps pages beyond its end, and the process is killed when it touches one.
bool IsWholeModule(const char* path) {
  const tvl::OpenFile file(path, O_RDONLY);
  ElfW(Ehdr) head = {};
  if (!file.IsOpen() || !ReadHeader(file.Descriptor(), 0, head) ||
      std::memcmp(head.e_ident, ELFMAG, SELFMAG) != 0) {
    return false;
  }
  for (std::size_t i = 0; i < head.e_phnum; ++i) {
    ElfW(Phdr) segment = {};
    if (!ReadHeader(file.Descriptor(), head.e_phoff + i * sizeof segment, segment) ||
        !EndsInside(segment, static_cast<std::size_t>(file.Status().st_size))) {
      return false;
    }
  }
  return true;
}

DWORD CopyLogicalPath(const char* host_path, std::size_t length, char* buffer, DWORD size) {
  if (size > 0) buffer[0] = 0;
  if (length == 0 || length >= size) return 0;
  std::replace_copy(host_path, host_path + length, buffer, '/', '\\');
  buffer[length] = 0;
  return static_cast<DWORD>(length);
}

}  // namespace

DWORD GetModuleFileNameA(HMODULE /*module*/, char* buffer, DWORD size) {
  char path[4096];
  const ssize_t length = tvl::System().readlinkat(AT_FDCWD, "/proc/self/exe", path, sizeof path);
  return CopyLogicalPath(path, length < 0 ? 0 : static_cast<std::size_t>(length), buffer, size);
}

DWORD tvl::OwnModuleFileName(char* buffer, DWORD size) {
  static const char anchor = 0;
  Dl_info info = {};
  const char* path = dladdr(&anchor, &info) != 0 && info.dli_fname != nullptr ? info.dli_fname : "";
  return CopyLogicalPath(path, std::strlen(path), buffer, size);
}

HMODULE LoadLibraryA(const char* path) {
  const tvl::HostPath host(path);
  if (tvl::System().access(host.Text(), F_OK) != 0) return nullptr;
  HMODULE module = IsWholeModule(path) ? dlopen(host.Text(), RTLD_NOW | RTLD_LOCAL) : nullptr;
  if (module == nullptr) tvl::NoteError(path, ENOEXEC);
  return module;
}

FARPROC GetProcAddress(HMODULE module, const char* name) {
  return module == nullptr ? nullptr : reinterpret_cast<FARPROC>(dlsym(module, name));
}

BOOL FreeLibrary(HMODULE module) {
  return dlclose(module) == 0 ? 1 : 0;
}
