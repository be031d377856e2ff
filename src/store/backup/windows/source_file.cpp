#include "store/backup/source_file.h"

#include "store/backup/windows/entry_status.h"
#include "store/backup/windows/folder_state.h"
#include "store/backup/windows/source_state.h"

namespace tvl {
namespace {

FileTime TimeOf(const native::Time& time) {
  return {time.seconds, time.nanoseconds};
}

}  // namespace

int ReadBlock(native::Handle file, char* buffer, std::size_t most, std::uint64_t offset, std::size_t& count) {
  count = 0;
  const auto start = static_cast<std::int64_t>(offset);
  const int problem = native::Seek(file, start, native::From::kBegin, nullptr);
  return problem != 0 ? problem : ReadAll(file, buffer, most, &count);
}

// A folder or link that has replaced the file is opened as well, and has another kind.
SourceFile::SourceFile(const OpenFolder& folder, const char* name) : state_(std::make_unique<State>()) {
  state_->problem = folder.Opened().PathOf(name, state_->path);
  if (state_->problem != 0) return;
  state_->file.emplace(state_->path.c_str(), native::Opening{.opens_links = true, .opens_folders = true});
  state_->problem = state_->file->Problem();
  if (state_->problem == 0) state_->problem = ReadVersion(state_->version);
}

SourceFile::~SourceFile() = default;

int SourceFile::Problem() const {
  return state_->problem;
}

FileVersion SourceFile::Version() const {
  return state_->version;
}

int SourceFile::ReadVersion(FileVersion& version) const {
  native::Status status = {};
  native::Time changed = {};
  if (const int problem = native::StatusOf(state_->file->Get(), &status)) return problem;
  if (const int problem = native::ChangeTime(state_->file->Get(), &changed)) return problem;
  version = {StatusOf(status), status.allocated, TimeOf(status.written), TimeOf(changed)};
  return 0;
}

int SourceFile::Read(char* buffer, std::size_t most, std::uint64_t offset, std::size_t& count) const {
  return ReadBlock(state_->file->Get(), buffer, most, offset, count);
}

}  // namespace tvl
