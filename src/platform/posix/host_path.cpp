#include "platform/host_path.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/last_error.h"

namespace tvl {
namespace {

bool IsSeparator(char character) {
  return character == '\\' || character == '/';
}

// Appends the components of `path` to the full path `full` and resolves "." and "..".
void AppendFolded(std::string_view path, std::string& full) {
  std::size_t at = 0;
  while (at < path.size()) {
    std::size_t end = at;
    while (end < path.size() && !IsSeparator(path[end])) ++end;
    const std::string_view component = path.substr(at, end - at);
    if (component == "..") {
      full.resize(full.empty() ? 0 : full.rfind('\\'));
    } else if (!component.empty() && component != ".") {
      full += '\\';
      full += component;
    }
    at = end + 1;
  }
}

bool AppendCurrentFolder(std::string& full) {
  char folder[4096];
  if (getcwd(folder, sizeof folder) == nullptr) {
    NoteError(".", errno);
    return false;
  }
  if (std::strchr(folder, '\\') != nullptr) {  // would be treated as two folders
    NoteError(folder, EINVAL);
    return false;
  }
  AppendFolded(folder, full);
  return true;
}

}  // namespace

HostPath::HostPath(const char* path) {
  std::size_t length = 0;
  for (; path[length] != 0 && length < kTooLong; ++length) {
    text_[length] = path[length] == '\\' ? '/' : path[length];
  }
  text_[length] = 0;
}

}  // namespace tvl

unsigned int GetFullPathNameA(const char* path, unsigned int size, char* buffer, char** /*file_part*/) {
  if (size > 0) buffer[0] = 0;
  const std::string_view text = path;
  if (text.empty()) return 0;
  std::string full;
  if (!tvl::IsSeparator(text.front()) && !tvl::AppendCurrentFolder(full)) return 0;
  tvl::AppendFolded(text, full);
  if (tvl::IsSeparator(text.back()) || full.empty()) full += '\\';
  if (full.size() >= size) {
    tvl::NoteError(path, ENAMETOOLONG);
    return static_cast<unsigned int>(full.size() + 1);
  }
  std::memcpy(buffer, full.c_str(), full.size() + 1);
  return static_cast<unsigned int>(full.size());
}
