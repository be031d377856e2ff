#include "platform/parts.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <new>
#include <vector>

#include "platform/files.h"
#include "platform/host_path.h"

namespace tvl {
namespace {

std::atomic<unsigned int> last_number = 0;

bool SkipNumber(std::string_view& text) {
  const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
  text.remove_prefix(digits);
  return digits > 0;
}

bool SkipDot(std::string_view& text) {
  if (!text.starts_with('.')) return false;
  text.remove_prefix(1);
  return true;
}

std::vector<std::string> PartsIn(const char* folder) {
  std::vector<std::string> parts;
  const HostPath host(folder);
  const std::unique_ptr<DIR, int (*)(DIR*)> listing(opendir(host.Text()), closedir);
  if (listing == nullptr) return parts;
  while (const dirent* entry = readdir(listing.get())) {
    if (IsPartName(entry->d_name)) parts.push_back(std::string(host.Text()) + "/" + entry->d_name);
  }
  return parts;
}

}  // namespace

bool IsPartName(std::string_view name) {
  return SkipDot(name) && SkipNumber(name) && SkipDot(name) && SkipNumber(name) && name == kPartSuffix;
}

std::string NextPartName() {
  return "." + std::to_string(getpid()) + "." + std::to_string(++last_number) + kPartSuffix;
}

int RemoveDeadParts(const char* folder) try {
  int removed = 0;
  for (const std::string& part : PartsIn(folder)) removed += DeleteFileA(part.c_str());
  return removed;
} catch (const std::bad_alloc&) {
  return 0;
}

}  // namespace tvl
