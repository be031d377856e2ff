#include "platform/ini_file.h"

#include <cerrno>

#include "platform/common/retry.h"
#include "platform/files.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/windows/ini_contents.h"
#include "platform/windows/open_file.h"
#include "store/layout.h"

namespace tvl {
namespace {

constexpr std::size_t kLargestFile = 16U << 20U;
constexpr int kRetrySeconds = 1;

int ReadOnce(const char* path, std::string& contents) {
  const OpenFile file(path, {});
  if (!file.IsOpen()) return file.Problem();
  if (file.Status().size > kLargestFile) return EFBIG;
  contents.resize(static_cast<std::size_t>(file.Status().size));
  std::size_t read = 0;
  const int problem = ReadAll(file.Get(), contents.data(), contents.size(), &read);
  contents.resize(problem == 0 ? read : 0);
  return problem;
}

}  // namespace

// A file for which our writers take turns may be missing for a moment.
int ReadIniContents(const std::string& path, std::string& contents) {
  const auto passes = [&](int problem) {
    if (problem == ENOENT) return NameExists((path + kConfigurationLockSuffix).c_str());
    return problem == EBUSY || (problem == EACCES && NameExists(path.c_str()));
  };
  const int problem = Retry(kRetrySeconds, passes, [&] {
    contents.clear();
    return ReadOnce(path.c_str(), contents);
  });
  if (problem != 0) contents.clear();
  return problem;
}

int IniFile::Read(const char* path) {
  const LastError before = TakeLastError();
  const int problem = ReadIniContents(HostPath(path).Text(), contents_);
  if (problem == 0)
    RestoreLastError(before);
  else
    NoteError(path, problem);
  return problem;
}

}  // namespace tvl
