#include "platform/ini_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "host/local_turn.h"
#include "host/read_all.h"
#include "host/system_calls.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/posix/ini_contents.h"
#include "platform/posix/open_file.h"
#include "platform/posix/retry.h"
#include "store/layout.h"

namespace tvl {
namespace {

constexpr std::size_t kLargestFile = 16U << 20U;
constexpr int kRetrySeconds = 1;

}  // namespace

int ReadIniContents(int descriptor, std::string& contents) {
  return ReadAll(descriptor, contents, kLargestFile);
}

bool IsBeingReplaced(const std::string& path, int problem) {
  struct stat status = {};
  return IsStaleOrDenied(problem) ||
         (problem == ENOENT && System().stat((path + kConfigurationLockSuffix).c_str(), &status) == 0);
}

int IniFile::Read(const char* path) {
  const LastError before = TakeLastError();
  const std::string host = HostPath(path).Text();
  const auto passes = [&](int problem) { return IsBeingReplaced(host, problem); };
  const int problem = Retry(kRetrySeconds, passes, [&] {
    contents_.clear();
    const LocalTurn turn(host.c_str());
    const OpenFile file(path, O_RDONLY);
    file.CloseWithoutDelay();
    return file.IsOpen() ? ReadIniContents(file.Descriptor(), contents_) : LastErrorCode();
  });
  if (problem == 0) {
    RestoreLastError(before);
    return 0;
  }
  contents_.clear();
  NoteError(path, problem);
  return problem;
}

}  // namespace tvl
