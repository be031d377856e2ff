#include "engine/sqlite/archive.h"

#include <cerrno>
#include <optional>
#include <string_view>

#include "engine/last_error.h"
#include "engine/sqlite/table.h"
#include "engine/system.h"
#include "engine/table_file.h"

namespace tvl::engine {
namespace {

using std::string_view;

// The bytes that identify a file as a database. They are written last, so that an incomplete file after a
// crash is not a database.
constexpr std::size_t kMark = 16;

constexpr const char* kCompanions[] = {"-journal", "-wal", "-shm"};

bool Fill(FileNumber file, const std::string& path, string_view image) {
  return Empty(file) && RemoveCompanions(path) && WriteAt(file, image.substr(kMark), kMark) &&
         SyncFile(file) && WriteAt(file, image.substr(0, kMark), 0) && SyncFile(file);
}

}  // namespace

// The journal of a former table with this name would be played back into the new one.
bool RemoveCompanions(const std::string& path) {
  for (const char* companion : kCompanions) {
    if (!RemoveFile(path + companion) && errno != ENOENT) return false;
  }
  return true;
}

bool MakeSqliteArchive(const std::string& path, const Layout& layout) {
  const std::string image = SqliteTable::EmptyImage(layout);
  if (image.size() <= kMark) return false;
  const std::optional<TableFile> file = TableFile::Seize(path);
  if (!file) return false;
  if (!Fill(file->Number(), path, image)) {
    NoteSystemError("the table cannot be written");
    static_cast<void>(RemoveFile(path));
    return false;
  }
  SyncNames(path);
  return true;
}

}  // namespace tvl::engine
