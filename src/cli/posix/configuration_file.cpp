#include "cli/configuration_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <thread>

#include "cli/environment.h"
#include "cli/output/failure.h"
#include "cli/output/text.h"
#include "host/descriptor.h"
#include "host/file_lock.h"
#include "host/local_turn.h"
#include "host/system_calls.h"

namespace tvl::cli {
namespace {

constexpr char kWritersLock[] = ".lock";  // suffix of the file that writers of a configuration lock

// Returns whether a failure to open the file may pass because another computer replaces it. On SMB a file
// that has been written before can also be missing for a moment.
bool IsBeingReplaced(const std::string& file, int problem) {
  struct stat status = {};
  return problem == ESTALE || problem == EACCES || problem == EINVAL ||
         (problem == ENOENT && stat((file + kWritersLock).c_str(), &status) == 0);
}

// Opens the file for reading. Tries again for a while if it is being replaced; on SMB, until this computer
// asks again which file has the name.
Descriptor OpenConfiguration(const std::string& file) {
  constexpr std::chrono::milliseconds kPause{5};
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(1);
  for (;;) {
    Descriptor descriptor(System().open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK, 0));
    CloseWithoutDelay(descriptor.Get());
    const int problem = descriptor.IsOpen() ? 0 : errno;
    const bool passes = IsBeingReplaced(file, problem) && std::chrono::steady_clock::now() < end;
    errno = problem;
    if (!passes) return descriptor;
    std::this_thread::sleep_for(kPause);
    struct statx ignored = {};
    static_cast<void>(System().statx(AT_FDCWD, file.c_str(), AT_STATX_FORCE_SYNC, STATX_INO, &ignored));
  }
}

std::string UserConfiguration() {
  const std::string folder = Environment("XDG_CONFIG_HOME");
  if (!folder.empty()) return Joined(folder, "tvl/tvl.ini");
  const std::string home = Environment("HOME");
  return home.empty() ? std::string() : Joined(home, ".config/tvl/tvl.ini");
}

}  // namespace

int ConfigurationProblem(const std::string& file) {
  const LocalTurn turn(file.c_str());
  const Descriptor descriptor = OpenConfiguration(file);
  if (!descriptor.IsOpen()) return errno;
  struct stat status = {};
  int problem = System().fstat(descriptor.Get(), &status) == 0 ? 0 : errno;
  if (problem == 0 && !S_ISREG(status.st_mode)) problem = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
  return problem;
}

std::vector<std::string> UsualConfigurations() {
  return {UserConfiguration(), "/etc/tvl/tvl.ini"};
}

std::string CurrentFolder() {
  std::array<char, PATH_MAX> current = {};
  if (getcwd(current.data(), current.size()) == nullptr)
    throw Stop({}, SystemFailure("cannot determine the current folder", errno, {}));
  return current.data();
}

}  // namespace tvl::cli
