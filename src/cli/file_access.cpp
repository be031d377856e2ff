#include "cli/file_access.h"

#include <cerrno>

#include "cli/file_status.h"
#include "cli/held_files.h"
#include "cli/host_path.h"
#include "cli/local_file.h"

namespace tvl::cli {
namespace {

constexpr std::size_t kLongestPath = 259;

// Returns an errno value if the target could not be opened for writing, else 0.
int TargetProblem(const std::string& target) {
  if (target.size() > kLongestPath) return ENAMETOOLONG;
  const auto status = StatusOf(target);
  if (!status) return errno == ENOENT ? FolderProblem(target, true) : errno;
  if (status->IsFolder()) return EISDIR;
  return AccessProblem(target, Access::kWrite);
}

}  // namespace

int ReadProblem(const std::string& path) {
  return AccessProblem(path, Access::kRead);
}

int FolderProblem(const std::string& path, bool makes_folders) {
  std::string folder = FolderOf(path);
  auto status = StatusOf(folder);
  for (; !status; status = StatusOf(folder)) {
    if (errno != ENOENT || !makes_folders || folder == FolderOf(folder)) return errno;
    folder = FolderOf(folder);
  }
  if (!status->IsFolder()) return ENOTDIR;
  return AccessProblem(folder, Access::kChangeFolder);
}

std::optional<Failure> CopyProblem(const std::string& source, const std::string& target, int code) {
  const char* what = MeaningOf(code).what;
  if (const int problem = ReadProblem(source)) return Failure{kFailed, code, what, problem, source};
  if (const int problem = TargetProblem(target)) return Failure{kFailed, code, what, problem, target};
  if (!HeldFilesAt(target).empty()) return Failure{kFailed, code, what, EBUSY, target};
  return std::nullopt;
}

}  // namespace tvl::cli
