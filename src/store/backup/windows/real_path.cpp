#include "store/backup/real_path.h"

#include <algorithm>
#include <cerrno>

#include "platform/host_path.h"
#include "platform/windows/native.h"
#include "store/backup/entry_status.h"

namespace tvl {
namespace {

// Returns the path without its last name; empty for a root.
std::string ParentOf(const std::string& path) {
  const std::size_t end = path.rfind('/');
  return end == std::string::npos || end == 0 ? std::string() : path.substr(0, end);
}

// Resolves the links in the part of `path` that exists.
std::string ExistingPart(std::string path) {
  std::string real;
  while (!path.empty() && ResolvePath(path, real) != 0) path = ParentOf(path);
  return real;
}

}  // namespace

int ResolvePath(const std::string& path, std::string& real) {
  native::Status status = {};
  if (const int problem = native::StatusOf(path.c_str(), true, &status)) return problem;
  char buffer[kMaxPath];
  const std::size_t length = native::RealPath(path.c_str(), buffer, sizeof buffer);
  if (length == 0 || length >= sizeof buffer) return ENAMETOOLONG;
  real.assign(buffer, length);
  std::replace(real.begin(), real.end(), '\\', '/');
  return 0;
}

// Names are compared as files, because letter case makes no difference, and a share has several names.
int FindInside(const std::string& folder, const std::string& outer, bool& is_inside) {
  native::Status status = {};
  if (const int problem = native::StatusOf(outer.c_str(), true, &status)) return problem;
  const auto is_outer = [&](const std::string& path) {
    return FileIdOf(path.c_str()) == FileIdOf(outer.c_str());
  };
  std::string path = ExistingPart(folder);
  while (!path.empty() && !is_outer(path)) path = ParentOf(path);
  is_inside = !path.empty();
  return 0;
}

}  // namespace tvl
