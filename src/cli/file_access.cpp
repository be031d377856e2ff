#include "cli/file_access.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "cli/file_status.h"
#include "cli/held_files.h"
#include "host/descriptor.h"
#include "host/system_calls.h"

namespace tvl::cli {
namespace {

constexpr std::size_t kLongestPath = 259;

bool MayAccess(const std::string& path, int mode) {
  return System().access(path.c_str(), mode) == 0;
}

// Returns an errno value if the target could not be opened for writing, else 0.
int TargetProblem(const std::string& target) {
  if (target.size() > kLongestPath) return ENAMETOOLONG;
  const auto status = StatusOf(target);
  if (!status) return errno == ENOENT ? FolderProblem(target, true) : errno;
  if (S_ISDIR(status->st_mode)) return EISDIR;
  return MayAccess(target, W_OK) ? 0 : errno;
}

}  // namespace

int ReadProblem(const std::string& path) {
  const Descriptor file(System().open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0));
  return file.IsOpen() ? 0 : errno;
}

int FolderProblem(const std::string& path, bool makes_folders) {
  std::string folder = FolderOf(path);
  auto status = StatusOf(folder);
  for (; !status; status = StatusOf(folder)) {
    if (errno != ENOENT || !makes_folders || folder == FolderOf(folder)) return errno;
    folder = FolderOf(folder);
  }
  if (!S_ISDIR(status->st_mode)) return ENOTDIR;
  return MayAccess(folder, W_OK | X_OK) ? 0 : errno;
}

std::optional<Failure> CopyProblem(const std::string& source, const std::string& target, int code) {
  const char* what = MeaningOf(code).what;
  if (const int problem = ReadProblem(source)) return Failure{kFailed, code, what, problem, source};
  if (const int problem = TargetProblem(target)) return Failure{kFailed, code, what, problem, target};
  if (!HeldFilesAt(target).empty()) return Failure{kFailed, code, what, EBUSY, target};
  return std::nullopt;
}

}  // namespace tvl::cli
