#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string_view>

#include <tvlclient/smb_opr.h>

#include "cli/configuration.h"
#include "cli/doctor/checks.h"
#include "cli/held_files.h"
#include "cli/text.h"

namespace tvl::cli {
namespace {

namespace fs = std::filesystem;

Finding CheckParts(const StoreLayout& layout) {
  const std::vector<std::string> missing = MissingParts(layout);
  if (missing.empty()) return Good("all there");
  return Bad(missing.front() + " is missing" + (missing.size() > 1 ? ", and other parts" : ""),
             "tvl init --missing, or tvl doctor --fix");
}

Finding CheckSafety(const StoreLayout& layout) {
  CTVLClientSmbOpr reader;
  if (reader.ReadConfig(layout.configuration.c_str()) != 0) return Bad("the configuration cannot be read");
  const int level = reader.ConfigSafeOnTransfert();
  if (level > 0) return Good(SafetyText(level));
  return Warn(SafetyText(level) + ": a killed transfer leaves part of a file",
              "SafeOnTransfert=2 in tvl.ini");
}

// In a sticky folder nobody can remove the marker of another user's dead client.
Finding CheckSticky(const StoreLayout& layout) {
  for (const std::string* folder : {&layout.procs, &layout.locks, &layout.tmp}) {
    struct stat status = {};
    if (stat(folder->c_str(), &status) == 0 && (status.st_mode & S_ISVTX) != 0)
      return Bad(*folder + " is sticky: locks of another user's dead client stay", "chmod -t " + *folder);
  }
  return Good("every user can remove what a dead client left");
}

// Removes digits and the "." after them from the front of `text`.
bool TakeNumber(std::string_view& text) {
  const std::size_t end = text.find_first_not_of("0123456789");
  if (end == 0 || end == std::string_view::npos || text[end] != '.') return false;
  text.remove_prefix(end + 1);
  return true;
}

// ".<process>.<number>.tvlpart"
bool IsPartName(std::string_view name) {
  if (!name.starts_with('.')) return false;
  name.remove_prefix(1);
  return TakeNumber(name) && TakeNumber(name) && name == "tvlpart";
}

Finding CheckDeadParts(const StoreLayout& layout) {
  const std::vector<std::string> parts = DeadParts(layout);
  if (parts.empty()) return Good("no transfer left a part");
  return Warn(Counted(parts.size(), "part") + " of transfers that were killed, such as " + parts.front(),
              "tvl doctor --fix removes them");
}

}  // namespace

std::vector<std::string> DeadParts(const StoreLayout& layout) {
  std::vector<std::string> parts;
  std::error_code problem;
  fs::recursive_directory_iterator entry(layout.root, fs::directory_options::skip_permission_denied, problem);
  for (; !problem && entry != fs::recursive_directory_iterator(); entry.increment(problem)) {
    std::error_code gone;
    const std::string path = entry->path().string();
    if (IsPartName(entry->path().filename().string()) && fs::is_regular_file(entry->symlink_status(gone)) &&
        HeldFilesAt(path).empty())
      parts.push_back(path);
  }
  std::sort(parts.begin(), parts.end());
  return parts;
}

const std::vector<Check<StoreLayout>>& StoreChecks() {
  static const std::vector<Check<StoreLayout>> checks = {
      {"parts of the store", true, CheckParts},
      {"SafeOnTransfert", false, CheckSafety},
      {"sticky folders", true, CheckSticky},
      {"killed transfers", false, CheckDeadParts},
  };
  return checks;
}

}  // namespace tvl::cli
