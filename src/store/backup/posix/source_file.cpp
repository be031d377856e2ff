#include "store/backup/source_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "host/system_calls.h"
#include "store/backup/posix/entry_status.h"
#include "store/backup/posix/folder_state.h"
#include "store/backup/posix/source_state.h"

namespace tvl {
namespace {

constexpr std::uint64_t kBlock = 512;  // the unit of st_blocks

FileTime TimeOf(const timespec& time) {
  return {time.tv_sec, time.tv_nsec};
}

// Another computer has replaced the file.
int Reason() {
  return errno == ESTALE ? ELOOP : errno;
}

FileVersion VersionOf(const struct stat& status) {
  return {StatusOf(status), static_cast<std::uint64_t>(status.st_blocks) * kBlock, TimeOf(status.st_mtim),
          TimeOf(status.st_ctim)};
}

}  // namespace

int ReadBlock(int file, char* buffer, std::size_t most, std::uint64_t offset, std::size_t& count) {
  for (;;) {
    const ssize_t read = System().pread(file, buffer, most, static_cast<off_t>(offset));
    count = read > 0 ? static_cast<std::size_t>(read) : 0;
    if (read >= 0) return 0;
    if (errno != EINTR) return Reason();
  }
}

SourceFile::SourceFile(const OpenFolder& folder, const char* name) : state_(std::make_unique<State>()) {
  constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  state_->file = Descriptor(System().openat(folder.Opened().folder.Get(), name, kFlags, 0));
  if (!state_->file.IsOpen() || System().fstat(state_->file.Get(), &state_->status) != 0)
    state_->problem = Reason();
}

SourceFile::~SourceFile() = default;

int SourceFile::Problem() const {
  return state_->problem;
}

FileVersion SourceFile::Version() const {
  return VersionOf(state_->status);
}

int SourceFile::ReadVersion(FileVersion& version) const {
  struct stat status = {};
  if (System().fstat(state_->file.Get(), &status) != 0) return Reason();
  version = VersionOf(status);
  return 0;
}

int SourceFile::Read(char* buffer, std::size_t most, std::uint64_t offset, std::size_t& count) const {
  return ReadBlock(state_->file.Get(), buffer, most, offset, count);
}

}  // namespace tvl
