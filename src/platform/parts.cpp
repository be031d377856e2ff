#include "platform/parts.h"

#include <dirent.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <new>
#include <vector>

#include "platform/files.h"
#include "platform/host_path.h"
#include "store/part_name.h"

namespace tvl {
namespace {

std::atomic<unsigned int> last_number = 0;

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

std::string NextPartName() {
  return PartName(static_cast<unsigned int>(getpid()), ++last_number);
}

int RemoveDeadParts(const char* folder) try {
  int removed = 0;
  for (const std::string& part : PartsIn(folder)) removed += DeleteFileA(part.c_str());
  return removed;
} catch (const std::bad_alloc&) {
  return 0;
}

}  // namespace tvl
