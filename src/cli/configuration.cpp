#include "cli/configuration.h"

#include <cerrno>
#include <fstream>
#include <iterator>
#include <vector>

#include <tvlclient/errors.h>

#include "cli/configuration_file.h"
#include "cli/environment.h"
#include "cli/host_path.h"
#include "cli/output/text.h"
#include "cli/stall_watch.h"

namespace tvl::cli {
namespace {

constexpr std::size_t kLongestPath = 259;

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

[[noreturn]] void Refuse(const std::string& what, int error, const std::string& file) {
  throw Stop({}, {kUnreachable, 0, what, error, file});
}

std::string Checked(const std::string& given) {
  std::string file = HostName(given);
  if (const int problem = ConfigurationProblem(file)) Refuse("configuration cannot be read", problem, file);
  if (file.find('\\') != std::string::npos)
    Refuse("the path of the configuration contains a backslash", 0, file);
  if (file.size() > kLongestPath) Refuse("the path of the configuration is longer than 259 bytes", 0, file);
  return file;
}

}  // namespace

// Looking for the file already blocks on a share whose server does not answer, so the wait is watched.
std::string FindConfiguration(const Options& options) {
  const WaitsFor waits("the configuration");
  if (!options.config.empty()) return Checked(options.config);
  const std::string from_environment = Environment("TVL_CONFIG");
  if (!from_environment.empty()) return Checked(from_environment);
  std::vector<std::string> places = UsualConfigurations();
  places.insert(places.begin(), "tvl.ini");
  std::string looked;
  for (const std::string& place : places) {
    if (place.empty()) continue;
    const int problem = ConfigurationProblem(place);
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
  const std::string folder = HostName(options.work.value_or(Environment("TVL_WORK")));
  if (options.work && folder.empty()) return {};
  return IsFullPath(folder) ? folder : Joined(CurrentFolder(), folder);
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
  std::ifstream file(PathOf(options.tag_file));
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
