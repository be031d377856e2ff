#include "store/data_files.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <set>
#include <system_error>

#include "host/file_identity.h"
#include "store/layout.h"

namespace tvl {
namespace {

namespace fs = std::filesystem;

// Visits each folder once, whatever links lead to it.
class DataFileWalk {
 public:
  void Visit(const fs::path& folder) {
    if (!visited_.insert(Identify(folder)).second) return;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
      std::error_code problem;
      const fs::file_status status = entry.status(problem);
      if (status.type() == fs::file_type::none) throw fs::filesystem_error("stat", entry.path(), problem);
      if (fs::is_directory(status)) Visit(entry.path());
      if (fs::is_regular_file(status) && entry.path().extension() == kTableExtension)
        files_.push_back({entry.path().string(), Identify(entry.path()).inode});
    }
  }

  [[nodiscard]] std::vector<DataFile> TakeFiles() {
    std::sort(files_.begin(), files_.end(),
              [](const DataFile& one, const DataFile& other) { return one.path < other.path; });
    return std::move(files_);
  }

 private:
  static FileIdentity Identify(const fs::path& path) {
    const std::optional<FileIdentity> identity = IdentityOf(path.c_str());
    if (!identity) throw fs::filesystem_error("stat", path, {errno, std::generic_category()});
    return *identity;
  }

  std::set<FileIdentity> visited_;
  std::vector<DataFile> files_;
};

}  // namespace

std::vector<DataFile> FindDataFiles(const std::vector<std::string>& folders) {
  DataFileWalk walk;
  for (const std::string& folder : folders) walk.Visit(folder);
  return walk.TakeFiles();
}

}  // namespace tvl
