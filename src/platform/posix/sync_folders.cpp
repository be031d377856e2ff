#include "platform/sync_folders.h"

#include <cerrno>
#include <new>
#include <string>
#include <string_view>

#include "host/sync.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/posix/folder_of_file.h"

namespace tvl {

bool SyncFoldersBetween(const char* base, const char* path) try {
  std::string folder = FolderOf(HostPath(path).Text());
  const std::size_t end = std::string_view(base).size();
  while (folder.size() > end) {
    folder.pop_back();  // removes the slash, so that FolderOf returns the parent
    if (!SyncNameOf(folder)) return false;
    folder = FolderOf(folder);
  }
  return true;
} catch (const std::bad_alloc&) {
  NoteError(path, ENOMEM);
  return false;
}

}  // namespace tvl
