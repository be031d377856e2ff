#include "platform/parts.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <new>
#include <vector>

#include "host/descriptor.h"
#include "host/first_number.h"
#include "host/folder_reader.h"
#include "host/system_calls.h"
#include "platform/files.h"
#include "platform/host_path.h"
#include "store/part_name.h"

namespace tvl {
namespace {

std::vector<std::string> PartsIn(const char* folder) {
  std::vector<std::string> parts;
  const HostPath host(folder);
  const Descriptor opened(System().open(host.Text(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
  FolderReader reader(opened.Get());
  while (const dirent64* entry = reader.Next()) {
    if (IsPartName(entry->d_name)) parts.push_back(std::string(host.Text()) + "/" + entry->d_name);
  }
  return parts;
}

}  // namespace

std::string NextPartName() {
  static std::atomic<unsigned int> last_number = FirstNumber();
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
