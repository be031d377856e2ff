#include "platform/folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "host/folder_reader.h"
#include "host/system_calls.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/posix/descriptor_of.h"

namespace tvl {
namespace {

int Open(const char* path, int flags) {
  return System().open(HostPath(path).Text(), flags | O_DIRECTORY | O_CLOEXEC, 0);
}

EntryKind KindOf(mode_t mode) {
  if (S_ISDIR(mode)) return EntryKind::kFolder;
  return S_ISREG(mode) ? EntryKind::kFile : EntryKind::kOther;
}

}  // namespace

Folder::Folder(const char* path) : folder_(Open(path, O_RDONLY)) {
  if (IsOpen()) return;
  problem_ = errno;
  NoteError(path, problem_);
  if (problem_ == EACCES) folder_ = Open(path, O_PATH);
}

Folder::~Folder() {
  if (IsOpen()) System().close(DescriptorOf(folder_));
}

EntryStatus Folder::StatusOf(const char* name) const {
  struct stat status = {};
  if (!IsOpen()) return {};
  if (System().fstatat(DescriptorOf(folder_), name, &status, 0) != 0)
    return {errno == ENOENT ? EntryKind::kMissing : EntryKind::kUnknown, 0, 0};
  const EntryKind kind = KindOf(status.st_mode);
  const auto size = kind == EntryKind::kFolder ? 0 : static_cast<std::uint64_t>(status.st_size);
  return {kind, size, status.st_mtim.tv_sec};
}

void Folder::LookAhead() const {
  FolderReader reader(DescriptorOf(ListingHandle()));
  while (reader.Next() != nullptr) {
  }
  if (IsOpen()) System().lseek(DescriptorOf(folder_), 0, SEEK_SET);
}

}  // namespace tvl
