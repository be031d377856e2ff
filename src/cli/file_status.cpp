#include "cli/file_status.h"

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <string_view>

#include "cli/output/text.h"
#include "host/descriptor.h"
#include "host/folder_reader.h"
#include "host/system_calls.h"

namespace tvl::cli {
namespace {

std::string Tidied(const std::filesystem::path& path) {
  std::string text = path.lexically_normal().string();
  while (text.size() > 1 && text.back() == '/') text.pop_back();
  return text;
}

}  // namespace

std::optional<struct stat> StatusOf(const std::string& path) {
  struct stat status = {};
  if (System().stat(path.c_str(), &status) != 0) return std::nullopt;
  return status;
}

std::optional<struct stat> LinkStatusOf(const std::string& path) {
  struct stat status = {};
  if (System().lstat(path.c_str(), &status) != 0) return std::nullopt;
  return status;
}

NameStatus LookAtName(const std::string& path) {
  NameStatus status = {LinkStatusOf(path), {}};
  status.leads_to = status.IsLink() ? StatusOf(path) : status.itself;
  return status;
}

bool IsFolder(const std::string& path) {
  const auto status = StatusOf(path);
  return status && S_ISDIR(status->st_mode);
}

bool IsLink(const std::string& path) {
  const auto status = LinkStatusOf(path);
  return status && S_ISLNK(status->st_mode);
}

bool Exists(const std::string& path) {
  return LinkStatusOf(path).has_value();
}

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string RealPath(const std::string& path) {
  std::array<char, PATH_MAX> resolved = {};
  std::string rest;
  for (std::string known = path; !known.empty();) {
    if (System().realpath(known.c_str(), resolved.data()) != nullptr) {
      return Tidied(Joined(resolved.data(), rest));
    }
    if (errno != ENOENT && errno != ENOTDIR) return {};
    const std::size_t slash = known.find_last_of('/');
    rest = Joined(known.substr(slash == std::string::npos ? 0 : slash + 1), rest);
    known.resize(slash == std::string::npos ? 0 : slash == 0 && known.size() > 1 ? 1 : slash);
  }
  return Tidied(rest);
}

int ListNames(const std::string& folder, std::vector<std::string>& names) {
  const Descriptor opened(System().open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK, 0));
  if (!opened.IsOpen()) return errno;
  FolderReader reader(opened.Get());
  while (const dirent64* entry = reader.Next()) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  return reader.Problem();
}

}  // namespace tvl::cli
