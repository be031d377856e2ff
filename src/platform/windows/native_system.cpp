#include <windows.h>

#include <algorithm>
#include <cstring>
#include <random>

#include "platform/windows/native.h"

namespace tvl::native {
namespace {

// The length of a text that a system call wrote into a buffer, or 0 with an empty buffer if it did not fit.
std::size_t Written(DWORD length, char* buffer, std::size_t size) {
  if (length > 0 && length < size) return length;
  if (size > 0) buffer[0] = 0;
  return 0;
}

}  // namespace

std::size_t FullPath(const char* path, char* buffer, std::size_t size) {
  const DWORD length = GetFullPathNameA(path, static_cast<DWORD>(size), buffer, nullptr);
  if (Written(length, buffer, size) == 0) return length;
  std::replace(buffer, buffer + length, '/', '\\');
  return length;
}

std::size_t ModulePath(const void* address, char* buffer, std::size_t size) {
  HMODULE module = nullptr;
  if (address != nullptr && GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                                   GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                               static_cast<const char*>(address), &module) == 0) {
    return Written(0, buffer, size);
  }
  return Written(GetModuleFileNameA(module, buffer, static_cast<DWORD>(size)), buffer, size);
}

bool ComputerName(char* buffer, std::size_t size) {
  char name[MAX_COMPUTERNAME_LENGTH + 1] = {};
  DWORD length = sizeof name;
  if (GetComputerNameA(name, &length) == 0 || length >= size) return false;
  std::memcpy(buffer, name, length + 1);
  return length > 0;
}

bool UserName(char* buffer, std::size_t size) {
  char name[257] = {};
  DWORD length = sizeof name;
  if (GetUserNameA(name, &length) == 0 || length > size) return false;
  std::memcpy(buffer, name, length);
  return length > 1;
}

std::uint32_t ProcessId() {
  return GetCurrentProcessId();
}

std::uint32_t Random() {
  return std::random_device{}();
}

void* LoadModule(const char* path) {
  return LoadLibraryA(path);
}

void (*AddressOf(void* module, const char* name))() {
  return reinterpret_cast<void (*)()>(GetProcAddress(static_cast<HMODULE>(module), name));
}

bool UnloadModule(void* module) {
  return FreeLibrary(static_cast<HMODULE>(module)) != 0;
}

std::uint32_t VersionSize(const char* path) {
  DWORD ignored = 0;
  return GetFileVersionInfoSizeA(path, &ignored);
}

bool VersionBlock(const char* path, std::uint32_t size, void* block) {
  return GetFileVersionInfoA(path, 0, size, block) != 0;
}

bool VersionValue(const void* block, const char* path, void** value, unsigned int* length) {
  return VerQueryValueA(block, path, value, length) != 0;
}

}  // namespace tvl::native
