#include "platform/parts.h"

#include <atomic>
#include <new>
#include <vector>

#include "platform/files.h"
#include "platform/host_path.h"
#include "platform/windows/folder_entries.h"
#include "store/part_name.h"

namespace tvl {
namespace {

std::vector<std::string> PartsIn(const char* folder) {
  std::vector<std::string> parts;
  const HostPath host(folder);
  FolderEntries entries(host.Text());
  while (const native::Entry* entry = entries.Next()) {
    if (IsPartName(entry->name)) parts.push_back(std::string(host.Text()) + "\\" + entry->name);
  }
  return parts;
}

}  // namespace

std::string NextPartName() {
  static std::atomic<unsigned int> last_number = native::Random();
  return PartName(native::ProcessId(), ++last_number);
}

int RemoveDeadParts(const char* folder) try {
  int removed = 0;
  for (const std::string& part : PartsIn(folder)) removed += DeleteFileA(part.c_str());
  return removed;
} catch (const std::bad_alloc&) {
  return 0;
}

}  // namespace tvl
