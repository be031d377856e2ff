#include "store/backup/copied_file.h"

#include <string>

#include "platform/windows/open_file.h"
#include "store/backup/windows/folder_state.h"
#include "store/backup/windows/source_state.h"

namespace tvl {

struct CopiedFile::State {
  std::string path;
  int path_problem = 0;
  std::optional<OpenFile> file;

  [[nodiscard]] bool IsOpen() const { return file && file->IsOpen(); }
};

CopiedFile::CopiedFile(const OpenFolder& folder, const char* name) : state_(std::make_unique<State>()) {
  state_->path_problem = folder.Opened().PathOf(name, state_->path);
}

CopiedFile::~CopiedFile() = default;

int CopiedFile::OpenEmpty() {
  if (state_->IsOpen()) return SetSize(0);
  if (state_->path_problem != 0) return state_->path_problem;
  constexpr native::Opening kNew = {.writes = true, .deletes = true, .creation = native::Creation::kOnlyNew};
  state_->file.emplace(state_->path.c_str(), kNew);
  return state_->file->Problem();
}

void CopiedFile::Remove() {
  if (state_->IsOpen()) static_cast<void>(native::DeleteOpen(state_->file->Get()));
}

bool CopiedFile::Share(const SourceFile& /*source*/) {
  return false;
}

void CopiedFile::AllowHoles() {
  native::AllowHoles(state_->file->Get());
}

int CopiedFile::Write(const char* bytes, std::size_t count, std::uint64_t offset) {
  const native::Handle file = state_->file->Get();
  const auto start = static_cast<std::int64_t>(offset);
  const int problem = native::Seek(file, start, native::From::kBegin, nullptr);
  return problem != 0 ? problem : WriteAll(file, bytes, count);
}

int CopiedFile::SetSize(std::uint64_t size) {
  return native::SetSize(state_->file->Get(), size);
}

bool CopiedFile::HasSize(std::uint64_t size) const {
  native::Status status = {};
  return native::StatusOf(state_->file->Get(), &status) == 0 && status.size == size;
}

bool CopiedFile::Read(char* buffer, std::size_t count, std::uint64_t offset) const {
  std::size_t read = 0;
  return ReadBlock(state_->file->Get(), buffer, count, offset, read) == 0 && read == count;
}

// There is no call that syncs a whole tree, so each file is synced here.
int CopiedFile::Finish(const SourceFile& source) {
  const native::Handle copy = state_->file->Get();
  static_cast<void>(native::CopyAccess(source.Opened().path.c_str(), state_->path.c_str()));
  const native::Status& times = source.Opened().file->Status();
  if (const int problem = native::SetTimes(copy, &times.accessed, &times.written)) return problem;
  if (const int problem = native::Flush(copy)) return problem;
  return state_->file->Close();
}

}  // namespace tvl
