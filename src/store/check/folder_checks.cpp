#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string_view>

#include "host/system_calls.h"
#include "store/check/checks.h"
#include "store/check/mount.h"

namespace tvl {
namespace {

constexpr char kMount[] = "mount the share again, and check that its server runs";

Finding CheckMount(const std::string& folder) {
  const std::optional<Mount> mount = MountOf(folder);
  return mount ? JudgeMount(*mount)
               : Warn("unknown", "check that /proc is mounted and lists the share in /proc/self/mountinfo");
}

Finding CheckSpace(const std::string& folder) {
  struct statvfs space = {};
  if (statvfs(folder.c_str(), &space) != 0) return Bad(Reason(), kMount);
  const std::uint64_t bytes = std::uint64_t{space.f_bavail} * space.f_frsize;
  if (bytes == 0) return Bad("the disk is full", "delete files that are not needed, or enlarge the disk");
  // A file system that reports 0 inodes in total has no fixed number of them.
  if (space.f_files > 0 && space.f_favail == 0)
    return Bad("no inodes are left", "delete files that are not needed");
  char text[32];
  std::snprintf(text, sizeof text, "%.1f GB free", static_cast<double>(bytes) / 1e9);
  return Good(text);
}

// umask() would change it for a moment, for all threads.
mode_t Umask() {
  constexpr std::string_view kLabel = "Umask:";
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(kLabel)) return static_cast<mode_t>(std::strtoul(&line[kLabel.size()], nullptr, 8));
  }
  return 0;
}

// New files get the permissions of a folder with the setgid bit. In other folders the umask decides.
Finding CheckRights(const std::string& folder) {
  struct stat status = {};
  if (System().stat(folder.c_str(), &status) != 0) return Bad(Reason(), kMount);
  const mode_t mask = Umask();
  char text[8];
  std::snprintf(text, sizeof text, "%03o", mask & 0777U);
  const bool by_folder = (status.st_mode & S_ISGID) != 0;
  const bool shared = (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
  if (shared && !by_folder && (mask & status.st_mode & 0070U) != 0)
    return Warn(std::string("umask ") + text + " keeps new files from other users",
                "run chmod g+s on the folder, or set the umask to 002");
  return Good(by_folder ? "new files get the rights of the folder"
                        : std::string("new files get the rights that umask ") + text + " leaves");
}

}  // namespace

const std::vector<Check<std::string>>& FolderChecks() {
  static const std::vector<Check<std::string>> checks = {
      {"mount", true, CheckMount}, {"space", true, CheckSpace}, {"rights", false, CheckRights}};
  return checks;
}

}  // namespace tvl
