#include <windows.h>

#include "platform/filesystem_path.h"

std::filesystem::path tvl::FilesystemPath(const std::string& path) {
  const int size = static_cast<int>(path.size());
  const int needed = MultiByteToWideChar(CP_ACP, 0, path.data(), size, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(needed), L'\0');
  MultiByteToWideChar(CP_ACP, 0, path.data(), size, wide.data(), needed);
  return wide;
}

std::string tvl::TextOf(const std::filesystem::path& path) {
  const std::wstring wide = path.generic_wstring();
  const int size = static_cast<int>(wide.size());
  const int needed = WideCharToMultiByte(CP_ACP, 0, wide.data(), size, nullptr, 0, nullptr, nullptr);
  std::string text(static_cast<std::size_t>(needed), '\0');
  WideCharToMultiByte(CP_ACP, 0, wide.data(), size, text.data(), needed, nullptr, nullptr);
  return text;
}
