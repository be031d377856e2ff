#include "store/backup/open_folder.h"

#include <cerrno>

#include "platform/common/retry.h"
#include "platform/host_path.h"
#include "store/backup/windows/entry_status.h"
#include "store/backup/windows/folder_state.h"
#include "store/host_name.h"

namespace tvl {
namespace {

constexpr int kPatience = 1;  // seconds

bool IsBusy(int problem) {
  return problem == EBUSY;
}

// A program that is removing or renaming the folder has it open for a moment.
void Pin(OpenFolder::State& state, OpenFolder::Use use, bool follows_links) {
  const native::Opening opening = {.sets_times = use == OpenFolder::Use::kWriting,
                                   .opens_links = !follows_links,
                                   .opens_folders = true,
                                   .pins = true};
  state.problem = Retry(kPatience, IsBusy, [&] {
    state.pinned.emplace(state.path.c_str(), opening);
    return state.pinned->Problem();
  });
  if (state.problem != 0) return;
  if (state.pinned->Status().is_link && !follows_links)
    state.problem = ELOOP;
  else if (!state.pinned->Status().is_folder)
    state.problem = ENOTDIR;
}

}  // namespace

int OpenFolder::State::PathOf(const char* name, std::string& full) const {
  full = path.empty() ? name : InHostFolder(path, name);
  return full.size() < kMaxPath ? 0 : ENAMETOOLONG;
}

OpenFolder::OpenFolder() : state_(std::make_unique<State>()) {}

OpenFolder::OpenFolder(const std::string& path, Use use) : OpenFolder() {
  state_->path = path;
  Pin(*state_, use, true);
}

OpenFolder::OpenFolder(const OpenFolder& parent, const char* name, Use use) : OpenFolder() {
  state_->problem = parent.state_->PathOf(name, state_->path);
  if (state_->problem == 0) Pin(*state_, use, false);
}

OpenFolder::~OpenFolder() = default;

int OpenFolder::Problem() const {
  return state_->problem;
}

const char* OpenFolder::NextName() {
  if (!state_->entries) state_->entries.emplace(state_->path.c_str());
  const native::Entry* entry = state_->entries->Next();
  return entry != nullptr ? entry->name : nullptr;
}

int OpenFolder::ReadingProblem() const {
  return state_->entries ? state_->entries->Problem() : 0;
}

int OpenFolder::Examine(const char* name, EntryStatus& status) const {
  std::string path;
  const int problem = state_->PathOf(name, path);
  return problem != 0 ? problem : ExamineEntry(path.c_str(), status);
}

std::string OpenFolder::StartOf(const char* name, std::size_t most) const {
  std::string path;
  if (state_->PathOf(name, path) != 0) return {};
  const OpenFile file(path.c_str(), {.opens_links = true});
  std::string start(most, '\0');
  std::size_t count = 0;
  if (!file.IsOpen() || file.Status().is_link || ReadAll(file.Get(), start.data(), most, &count) != 0)
    return {};
  start.resize(count);
  return start;
}

int OpenFolder::CreateFolder(const char* name) const {
  std::string path;
  const int problem = state_->PathOf(name, path);
  return problem != 0 ? problem : native::CreateFolder(path.c_str());
}

int OpenFolder::ReadLink(const char* name, LinkData& link) const {
  std::string path;
  if (const int problem = state_->PathOf(name, path)) return problem;
  const OpenFile file(path.c_str(), {.opens_links = true, .opens_folders = true});
  if (!file.IsOpen()) return file.Problem();
  link.is_folder = file.Status().is_folder;
  link.bytes.resize(native::kLargestLink);
  std::size_t count = 0;
  const int problem = native::ReadLink(file.Get(), link.bytes.data(), link.bytes.size(), &count);
  link.bytes.resize(count);
  return problem;
}

int OpenFolder::CreateLink(const char* name, const LinkData& link) const {
  std::string path;
  if (const int problem = state_->PathOf(name, path)) return problem;
  if (link.is_folder) {
    if (const int problem = native::CreateFolder(path.c_str())) return problem;
  }
  const OpenFile file(path.c_str(),
                      {.writes = true,
                       .opens_folders = true,
                       .creation = link.is_folder ? native::Creation::kNever : native::Creation::kOnlyNew});
  if (!file.IsOpen()) return file.Problem();
  return native::MakeLink(file.Get(), link.bytes.data(), link.bytes.size());
}

void OpenFolder::CopyTraitsTo(const OpenFolder& copy) const {
  const native::Status& status = state_->pinned->Status();
  static_cast<void>(native::CopyAccess(state_->path.c_str(), copy.state_->path.c_str()));
  static_cast<void>(native::SetTimes(copy.state_->pinned->Get(), &status.accessed, &status.written));
}

}  // namespace tvl
