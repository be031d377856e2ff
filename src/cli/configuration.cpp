#include "cli/configuration.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <thread>

#include <tvlclient/errors.h>

#include "cli/output/text.h"
#include "cli/stall_watch.h"
#include "host/descriptor.h"
#include "host/file_lock.h"
#include "host/local_turn.h"
#include "host/system_calls.h"

namespace tvl::cli {
namespace {

constexpr std::size_t kLongestPath = 259;
constexpr char kWritersLock[] = ".lock";  // suffix of the file that writers of a configuration lock

struct ConfigProblem {
  int code;
  const char* what;
};
constexpr ConfigProblem kConfigProblems[] = {
    {TVL_ERR_ROOT_UNDEFINED, "DocumentRoot is missing or empty in section [TavolisFileSystem]"},
    {TVL_ERR_ROOT_INVALID, "DocumentRoot is not a folder and could not be created"},
    {TVL_ERR_TMP_UNDEFINED, "TmpDir is missing: [Environments] must set it because it sets DocumentRoot"},
    {TVL_ERR_TMP_INVALID, "TmpDir is not a folder and could not be created"},
    {TVL_ERR_LOCAL_FILE, "the path of the working directory is too long"},
};

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string() : value;
}

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

// Returns an errno value if the file cannot be read, else 0.
int ReadProblem(const std::string& file) {
  const LocalTurn turn(file.c_str());
  const Descriptor descriptor = OpenConfiguration(file);
  if (!descriptor.IsOpen()) return errno;
  struct stat status = {};
  int problem = System().fstat(descriptor.Get(), &status) == 0 ? 0 : errno;
  if (problem == 0 && !S_ISREG(status.st_mode)) problem = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
  return problem;
}

[[noreturn]] void Refuse(const std::string& what, int error, const std::string& file) {
  throw Stop({}, {kUnreachable, 0, what, error, file});
}

std::string Checked(const std::string& file) {
  if (const int problem = ReadProblem(file)) Refuse("configuration cannot be read", problem, file);
  if (file.find('\\') != std::string::npos)
    Refuse("the path of the configuration contains a backslash", 0, file);
  if (file.size() > kLongestPath) Refuse("the path of the configuration is longer than 259 bytes", 0, file);
  return file;
}

std::string UserConfiguration() {
  const std::string folder = Environment("XDG_CONFIG_HOME");
  if (!folder.empty()) return Joined(folder, "tvl/tvl.ini");
  const std::string home = Environment("HOME");
  return home.empty() ? std::string() : Joined(home, ".config/tvl/tvl.ini");
}

}  // namespace

// Looking for the file already blocks on a share whose server does not answer, so the wait is watched.
std::string FindConfiguration(const Options& options) {
  const WaitsFor waits("the configuration");
  if (!options.config.empty()) return Checked(options.config);
  const std::string from_environment = Environment("TVL_CONFIG");
  if (!from_environment.empty()) return Checked(from_environment);
  const std::array<std::string, 3> places = {"tvl.ini", UserConfiguration(), "/etc/tvl/tvl.ini"};
  std::string looked;
  for (const std::string& place : places) {
    if (place.empty()) continue;
    const int problem = ReadProblem(place);
    if (problem != ENOENT && problem != ENOTDIR) return Checked(place);
    looked += (looked.empty() ? "" : ", ") + place;
  }
  throw Stop({}, {kUnreachable,
                  0,
                  "no configuration was found",
                  0,
                  {},
                  "use --config FILE, set TVL_CONFIG, or create one of " + looked});
}

std::string FindWorkingDirectory(const Options& options) {
  std::string folder = options.work.value_or(Environment("TVL_WORK"));
  if (options.work && folder.empty()) return {};
  if (!folder.empty() && folder.front() == '/') return folder;
  std::array<char, PATH_MAX> current = {};
  if (getcwd(current.data(), current.size()) == nullptr)
    throw Stop({}, SystemFailure("cannot determine the current folder", errno, {}));
  return folder.empty() ? current.data() : Joined(current.data(), folder);
}

Failure ConfigurationFailure(int code) {
  Failure failure = LibraryFailure(code);
  failure.exit = kUnreachable;
  for (const ConfigProblem& problem : kConfigProblems) {
    if (problem.code == code) failure.what = problem.what;
  }
  return failure;
}

std::string FindTag(const Options& options) {
  if (options.tag_file.empty()) return Environment("TVL_TAG");
  errno = 0;
  std::ifstream file(options.tag_file);
  std::string line;
  std::getline(file, line);
  if (!file && line.empty() && !file.eof())
    throw Stop({}, {kFailed, 0, "tag file cannot be read", errno, options.tag_file});
  while (!line.empty() && line.back() == '\r') line.pop_back();
  return line;
}

std::string PolicyName(int policy) {
  constexpr const char* kPolicies[] = {"dumb", "hash", "time"};
  return policy >= 0 && policy < static_cast<int>(std::size(kPolicies)) ? kPolicies[policy]
                                                                        : std::to_string(policy);
}

std::string SafetyText(int level) {
  constexpr const char* kTexts[] = {"0, written in place", "1, whole files", "2, whole files, synced"};
  return level >= 0 && level < static_cast<int>(std::size(kTexts)) ? kTexts[level] : std::to_string(level);
}

}  // namespace tvl::cli
