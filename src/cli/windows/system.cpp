#include "cli/windows/system.h"

#include <windows.h>

#include <cerrno>

#include "cli/output/text.h"
#include "cli/windows/handle.h"
#include "platform/windows/native_errors.h"

namespace tvl::cli {
namespace {

constexpr std::wstring_view kLongPath = L"\\\\?\\";
constexpr std::wstring_view kLongShare = L"\\\\?\\UNC\\";

// Removes the prefix with which the system marks a full path.
std::wstring WithoutPrefix(const std::wstring& path) {
  if (path.starts_with(kLongShare)) return L"\\\\" + path.substr(kLongShare.size());
  return path.starts_with(kLongPath) ? path.substr(kLongPath.size()) : path;
}

// Opens a file or a folder for these rights.
HANDLE OpenAny(const std::string& path, DWORD rights) {
  constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  return CreateFileW(WideOf(path).c_str(), rights, kShareAll, nullptr, OPEN_EXISTING,
                     FILE_FLAG_BACKUP_SEMANTICS, nullptr);
}

}  // namespace

std::wstring WideOf(std::string_view text) {
  const int size = static_cast<int>(text.size());
  std::wstring wide(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0)),
                    L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

std::string Utf8Of(std::wstring_view text) {
  const int size = static_cast<int>(text.size());
  const int needed = WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<std::size_t>(needed), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), size, narrow.data(), needed, nullptr, nullptr);
  return narrow;
}

std::string FinalPath(const std::string& path) {
  const Handle file(OpenAny(path, 0));
  std::wstring resolved(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = file.IsOpen() ? GetFinalPathNameByHandleW(file.Get(), resolved.data(),
                                                                   static_cast<DWORD>(resolved.size()), 0)
                                       : 0;
    if (length == 0) {
      errno = native::LastProblem();
      return {};
    }
    const bool fits = length < resolved.size();
    resolved.resize(length);
    if (fits) return Slashed(Utf8Of(WithoutPrefix(resolved)));
  }
}

int FolderChangeProblem(const std::string& folder) {
  const Handle opened(OpenAny(folder, FILE_ADD_FILE | FILE_ADD_SUBDIRECTORY | FILE_DELETE_CHILD));
  return opened.IsOpen() ? 0 : native::LastProblem();
}

std::string Variable(const wchar_t* name) {
  std::wstring value(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
  if (value.empty()) return {};
  value.resize(GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size())));
  return Utf8Of(value);
}

}  // namespace tvl::cli
