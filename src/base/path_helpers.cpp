#include "base/path_helpers.h"

#include <cstring>
#include <string_view>

#include "base/file_helpers.h"
#include "platform/files.h"

namespace {

using std::string_view;
using tvl::PathText;

// Appends `name` to `path`, separated by one backslash.
void AppendComponent(string_view name, PathText& path) {
  const string_view before = path.View();
  if (before.empty() || before.back() != '\\') path.Append("\\");
  path.Append(name);
}

// Returns the full path of `rest` below `base`: folders separated by single backslashes, then the file name.
PathText FullPath(const char* base, string_view rest) {
  PathText full;
  full.Append(base);
  const std::size_t last = rest.rfind('\\');
  if (last == string_view::npos) {
    AppendComponent(rest, full);
    return full;
  }
  for (string_view folders = rest.substr(0, last); !folders.empty();) {
    const std::size_t end = folders.find('\\');
    if (end != 0) AppendComponent(folders.substr(0, end), full);
    folders.remove_prefix(end == string_view::npos ? folders.size() : end + 1);
  }
  AppendComponent(rest.substr(last + 1), full);
  return full;
}

// Creates every folder of `path` that begins at or after `from`. Usually the last one exists, and thus all
// do, unless the system resolves ".." in the text.
void MakeFolders(string_view path, std::size_t from) {
  const std::size_t last = path.rfind('\\');
  if (last == string_view::npos || last < from) return;
  PathText deepest;
  deepest.Append(path.substr(0, last));
  if (path.find("..", from) == string_view::npos && tvl::NameExists(deepest.Text())) return;
  for (std::size_t end = path.find('\\', from); end != string_view::npos; end = path.find('\\', end + 1)) {
    PathText folder;
    folder.Append(path.substr(0, end));
    if (!tvl::NameExists(folder.Text())) tvl::EnsureFolder(folder.Text());
  }
}

}  // namespace

int AddTrailingBackslash(char* path) {
  const std::size_t length = std::strlen(path);
  if (length > 0 && path[length - 1] == '\\') return 1;
  if (length + 1 >= tvl::kMaxPath) return 0;
  path[length] = '\\';
  path[length + 1] = 0;
  return 1;
}

char* LastPathComponent(const char* path) {
  const char* separator = std::strrchr(path, '\\');
  if (separator == nullptr) separator = std::strrchr(path, '/');
  return separator == nullptr ? nullptr : const_cast<char*>(separator) + 1;
}

char* NormalizeSlashes(char* path) {
  for (char* at = std::strchr(path, '/'); at != nullptr; at = std::strchr(at, '/')) *at = '\\';
  return path;
}

char* BuildPath(const char* base, char* path) {
  const PathText full = tvl::BuildFullPath(base, path);
  const string_view text = full.Fits() ? full.View() : string_view();
  text.copy(path, text.size());
  path[text.size()] = 0;
  return full.Fits() ? path : nullptr;
}

namespace tvl {

PathText JoinPath(const char* base, const char* name) {
  PathText path;
  path.Append(base).Append(name);
  NormalizeSlashes(path.Data());
  return path;
}

PathText BuildFullPath(const char* base, const char* name) {
  PathText relative;
  relative.Append(name);
  if (!relative.Fits()) return relative;
  string_view rest = NormalizeSlashes(relative.Data());
  const std::size_t first = rest.find_first_not_of('\\');
  if (first != string_view::npos) rest.remove_prefix(first);
  PathText full = FullPath(base, rest);
  if (full.Fits()) MakeFolders(full.View(), std::strlen(base) + 1);
  return full;
}

}  // namespace tvl
