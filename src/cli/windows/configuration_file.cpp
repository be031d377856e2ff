#include "cli/configuration_file.h"

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <thread>

#include "cli/host_path.h"
#include "cli/output/failure.h"
#include "cli/output/text.h"
#include "cli/windows/system.h"
#include "platform/windows/open_file.h"

namespace tvl::cli {
namespace {

constexpr char kFile[] = "tvl/tvl.ini";

// Returns the configuration in the folder that a variable names; empty if there is no such variable.
std::string ConfigurationBelow(const wchar_t* variable) {
  const std::string folder = Slashed(Variable(variable));
  return folder.empty() ? std::string() : Joined(folder, kFile);
}

}  // namespace

// Another computer that replaces the file makes it unavailable for a moment.
int ConfigurationProblem(const std::string& file) {
  constexpr std::chrono::milliseconds kPause{5};
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(1);
  for (;;) {
    const OpenFile opened(file.c_str(), {});
    const int problem = opened.Problem();
    const bool passes = problem == EBUSY || problem == EACCES;
    if (!passes || std::chrono::steady_clock::now() >= end) return problem;
    std::this_thread::sleep_for(kPause);
  }
}

std::vector<std::string> UsualConfigurations() {
  return {ConfigurationBelow(L"APPDATA"), ConfigurationBelow(L"PROGRAMDATA")};
}

std::string CurrentFolder() {
  std::error_code problem;
  const std::filesystem::path folder = std::filesystem::current_path(problem);
  if (problem) throw Stop({}, SystemFailure("cannot determine the current folder", EIO, {}));
  return TextOf(folder);
}

}  // namespace tvl::cli
