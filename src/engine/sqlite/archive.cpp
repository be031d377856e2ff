#include "engine/sqlite/archive.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <string_view>

#include "engine/last_error.h"
#include "engine/sqlite/table.h"
#include "engine/table_file.h"
#include "host/sync.h"
#include "host/system_calls.h"
#include "host/write_all.h"

namespace tvl::engine {
namespace {

using std::string_view;

// The bytes that identify a file as a database. They are written last, so that an incomplete file after a
// crash is not a database.
constexpr std::size_t kMark = 16;

constexpr const char* kCompanions[] = {"-journal", "-wal", "-shm"};

bool WriteAt(int descriptor, string_view bytes, off_t offset) {
  errno = WriteAllAt(descriptor, bytes.data(), bytes.size(), offset);
  return errno == 0;
}

bool Fill(int descriptor, const std::string& path, string_view image) {
  return System().ftruncate(descriptor, 0) == 0 && RemoveCompanions(path) &&
         WriteAt(descriptor, image.substr(kMark), kMark) && Sync(descriptor) == 0 &&
         WriteAt(descriptor, image.substr(0, kMark), 0) && Sync(descriptor) == 0;
}

}  // namespace

// The journal of a former table with this name would be played back into the new one.
bool RemoveCompanions(const std::string& path) {
  for (const char* companion : kCompanions) {
    if (System().unlink((path + companion).c_str()) != 0 && errno != ENOENT) return false;
  }
  return true;
}

bool MakeSqliteArchive(const std::string& path, const Layout& layout) {
  const std::string image = SqliteTable::EmptyImage(layout);
  if (image.size() <= kMark) return false;
  const std::optional<TableFile> file = TableFile::Seize(path);
  if (!file) return false;
  if (!Fill(file->Descriptor(), path, image)) {
    NoteSystemError("the table cannot be written");
    System().unlink(path.c_str());
    return false;
  }
  static_cast<void>(SyncFolderOf(path));
  return true;
}

}  // namespace tvl::engine
