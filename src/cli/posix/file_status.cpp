#include "cli/file_status.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <string_view>

#include "host/descriptor.h"
#include "host/folder_reader.h"
#include "host/system_calls.h"

namespace tvl::cli {
namespace {

FileStatus::Kind KindOf(mode_t mode) {
  return S_ISREG(mode)   ? FileStatus::Kind::kFile
         : S_ISDIR(mode) ? FileStatus::Kind::kFolder
         : S_ISLNK(mode) ? FileStatus::Kind::kLink
                         : FileStatus::Kind::kOther;
}

std::optional<FileStatus> StatusWith(int (*call)(const char*, struct stat*), const std::string& path) {
  struct stat status = {};
  if (call(path.c_str(), &status) != 0) return std::nullopt;
  return FileStatus{KindOf(status.st_mode),
                    static_cast<std::uint64_t>(status.st_size),
                    status.st_mtim.tv_sec,
                    status.st_mtim.tv_nsec,
                    {status.st_dev, status.st_ino}};
}

}  // namespace

std::optional<FileStatus> StatusOf(const std::string& path) {
  return StatusWith(System().stat, path);
}

std::optional<FileStatus> LinkStatusOf(const std::string& path) {
  return StatusWith(System().lstat, path);
}

std::string ResolvedPath(const std::string& path) {
  std::array<char, PATH_MAX> resolved = {};
  return System().realpath(path.c_str(), resolved.data()) == nullptr ? std::string() : resolved.data();
}

std::string LinkTarget(const std::string& link) {
  std::array<char, PATH_MAX> target = {};
  const ssize_t size = System().readlinkat(AT_FDCWD, link.c_str(), target.data(), target.size());
  return {target.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
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
