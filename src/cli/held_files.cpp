#include "cli/held_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "cli/interrupt.h"
#include "host/descriptor.h"
#include "host/system_calls.h"
#include "store/lock_ranges.h"

namespace tvl::cli {
namespace {

namespace fs = std::filesystem;

bool IsTry(const struct flock& lock) {
  return lock.l_type == F_WRLCK && (lock.l_start == kTryRange.start || lock.l_start == kEarlierTry.start) &&
         lock.l_start + lock.l_len >= kTurnByte.start;
}

struct HeldKind {
  const char* ending;
  const char* what;
};
constexpr HeldKind kKinds[] = {{".tvp", "marker of a live instance"}, {".dat", "a table in use"}};

bool IsHeld(const std::string& path) {
  const Descriptor file(System().open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW, 0));
  if (!file.IsOpen()) return false;
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = kTryRange.start;
  lock.l_len = kTryRange.length;
  const bool asked = System().lock(file.Get(), F_OFD_GETLK, &lock) == 0;
  return asked && lock.l_type != F_UNLCK && !IsTry(lock);
}

std::string KindOf(const std::string& path) {
  for (const HeldKind& kind : kKinds) {
    if (path.ends_with(kind.ending)) return kind.what;
  }
  return "a file in use";
}

void AddIfHeld(const std::string& path, std::vector<HeldFile>& held) {
  if (IsHeld(path)) held.push_back({path, KindOf(path)});
}

}  // namespace

std::vector<HeldFile> HeldFilesAt(const std::string& path) {
  std::vector<HeldFile> held;
  struct stat status = {};
  if (lstat(path.c_str(), &status) != 0) return held;
  if (S_ISREG(status.st_mode)) AddIfHeld(path, held);
  if (!S_ISDIR(status.st_mode)) return held;
  std::error_code problem;  // what can't be listed the removal itself will tell
  fs::recursive_directory_iterator entry(path, fs::directory_options::skip_permission_denied, problem);
  for (; !problem && entry != fs::recursive_directory_iterator() && !Interrupted();
       entry.increment(problem)) {
    std::error_code gone;
    if (fs::is_regular_file(entry->symlink_status(gone))) AddIfHeld(entry->path().string(), held);
  }
  return held;
}

std::string DescribeHeldFiles(const std::vector<HeldFile>& files) {
  if (files.empty()) return {};
  std::string text = files.front().path + ", " + files.front().what;
  if (files.size() > 1) text += ", and " + std::to_string(files.size() - 1) + " more";
  return text;
}

}  // namespace tvl::cli
