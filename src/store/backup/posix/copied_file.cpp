#include "store/backup/copied_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "host/descriptor.h"
#include "host/file_access.h"
#include "host/system_calls.h"
#include "host/write_all.h"
#include "store/backup/posix/folder_state.h"
#include "store/backup/posix/source_state.h"

namespace tvl {

struct CopiedFile::State {
  int folder;
  const char* name;
  Descriptor file;
};

CopiedFile::CopiedFile(const OpenFolder& folder, const char* name)
    : state_(std::make_unique<State>(State{folder.Opened().folder.Get(), name, {}})) {}

CopiedFile::~CopiedFile() = default;

int CopiedFile::OpenEmpty() {
  if (state_->file.IsOpen()) return SetSize(0);
  constexpr int kFlags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
  state_->file = Descriptor(System().openat(state_->folder, state_->name, kFlags, 0600));
  return state_->file.IsOpen() ? 0 : errno;
}

void CopiedFile::Remove() {
  if (state_->file.IsOpen()) System().unlinkat(state_->folder, state_->name, 0);
}

bool CopiedFile::Share(const SourceFile& source) {
  return System().clone(state_->file.Get(), source.Opened().file.Get()) == 0;
}

// Every file may have holes.
void CopiedFile::AllowHoles() {}

int CopiedFile::Write(const char* bytes, std::size_t count, std::uint64_t offset) {
  return WriteAllAt(state_->file.Get(), bytes, count, static_cast<std::int64_t>(offset));
}

int CopiedFile::SetSize(std::uint64_t size) {
  return System().ftruncate(state_->file.Get(), static_cast<off_t>(size)) == 0 ? 0 : errno;
}

bool CopiedFile::HasSize(std::uint64_t size) const {
  return System().lseek(state_->file.Get(), 0, SEEK_END) == static_cast<off_t>(size);
}

bool CopiedFile::Read(char* buffer, std::size_t count, std::uint64_t offset) const {
  std::size_t read = 0;
  return ReadBlock(state_->file.Get(), buffer, count, offset, read) == 0 && read == count;
}

int CopiedFile::Finish(const SourceFile& source) {
  const struct stat& status = source.Opened().status;
  const int copy = state_->file.Get();
  FileAccess access;
  if (access.Read(source.Opened().file.Get()) != 0 || access.Apply(copy) != 0)
    System().fchmod(copy, status.st_mode & 0777U);
  const timespec times[] = {status.st_atim, status.st_mtim};
  if (System().futimens(copy, times) != 0) return errno;
  return state_->file.Close();
}

}  // namespace tvl
