#include "engine/archive.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <string_view>

#include "engine/last_error.h"
#include "engine/sqlite_table.h"
#include "engine/table_file.h"

namespace tvl::engine {
namespace {

using std::string_view;

// What marks a file as a database. It is written last, so that a file cut by a crash is none.
constexpr std::size_t kMark = 16;

constexpr const char* kCompanions[] = {"-journal", "-wal", "-shm"};

bool WriteAt(int descriptor, string_view bytes, off_t offset) {
  while (!bytes.empty()) {
    const ssize_t written = pwrite(descriptor, bytes.data(), bytes.size(), offset);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
    offset += written;
  }
  return true;
}

// The journal of a former table under this name would be played back into the new one.
bool RemoveCompanions(const std::string& path) {
  for (const char* companion : kCompanions) {
    if (unlink((path + companion).c_str()) != 0 && errno != ENOENT) return false;
  }
  return true;
}

void SyncFolderOf(const std::string& path) {
  const std::string folder = path.substr(0, path.rfind('/') + 1);
  const int descriptor = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return;
  fsync(descriptor);
  close(descriptor);
}

bool Fill(int descriptor, const std::string& path, string_view image) {
  return ftruncate(descriptor, 0) == 0 && RemoveCompanions(path) &&
         WriteAt(descriptor, image.substr(kMark), kMark) && fsync(descriptor) == 0 &&
         WriteAt(descriptor, image.substr(0, kMark), 0) && fsync(descriptor) == 0;
}

}  // namespace

bool MakeArchive(const std::string& path, const Layout& layout) {
  const std::string image = SqliteTable::EmptyImage(layout);
  if (image.size() <= kMark) return false;
  const std::optional<TableFile> file = TableFile::Seize(path);
  if (!file) return false;
  if (!Fill(file->Descriptor(), path, image)) {
    NoteSystemError("the table can't be written");
    unlink(path.c_str());
    return false;
  }
  SyncFolderOf(path);
  return true;
}

}  // namespace tvl::engine
