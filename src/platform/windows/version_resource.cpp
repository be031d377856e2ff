#include "platform/version_resource.h"

#include "platform/host_path.h"
#include "platform/windows/native.h"

using tvl::HostPath;

DWORD GetFileVersionInfoSizeA(const char* path, DWORD* handle) {
  if (handle != nullptr) *handle = 0;
  return tvl::native::VersionSize(HostPath(path).Text());
}

BOOL GetFileVersionInfoA(const char* path, DWORD /*handle*/, DWORD size, void* block) {
  return tvl::native::VersionBlock(HostPath(path).Text(), size, block) ? 1 : 0;
}

BOOL VerQueryValueA(void* block, const char* path, void** value, UINT* length) {
  return tvl::native::VersionValue(block, path, value, length) ? 1 : 0;
}
