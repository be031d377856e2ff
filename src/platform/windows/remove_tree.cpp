#include "platform/remove_tree.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <string_view>

#include "platform/common/removal_path.h"
#include "platform/common/retry.h"
#include "platform/copy_file.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/windows/delete_file.h"
#include "platform/windows/folder_entries.h"
#include "platform/windows/open_file.h"

namespace tvl {
namespace {

using std::string_view;

constexpr int kPatience = 1;  // seconds

// Opened like this, nobody can rename or replace a folder, so its path leads to it as long as it is open.
constexpr native::Opening kPinned = {.opens_links = true, .opens_folders = true, .pins = true};

bool SaysGone(int problem) {
  return problem == ENOENT || problem == ENOTDIR;
}

// One removal, with the path that it has reached.
class Walk {
 public:
  explicit Walk(const RemovalHooks& hooks) : hooks_(hooks), path_(hooks) {}

  RemovalPath& Path() { return path_; }

  Removal RemoveFile() {
    std::uint64_t size = 0;
    const int problem = hooks_.destination != nullptr ? MoveAway(&size) : DeleteUnheld(path_.Text(), &size);
    path_.Report(size);
    return problem == 0 || SaysGone(problem) ? Removal::kDone : path_.Fail(Removal::kFileStays, problem);
  }

  Removal RemoveLinkToFolder() {
    path_.Report(0);
    const int problem = native::RemoveFolder(path_.Text());
    return problem == 0 || SaysGone(problem) ? Removal::kDone : path_.Fail(Removal::kFileStays, problem);
  }

  Removal RemoveEntry(bool is_link, bool is_folder) {
    if (!is_folder) return RemoveFile();
    return is_link ? RemoveLinkToFolder() : RemoveFolder();
  }

  Removal RemoveFolder() {
    int reading_problem = 0;
    if (const Removal result = RemoveContents(reading_problem); result != Removal::kDone) return result;
    path_.Report(0);
    // Another removal that has reached the folder keeps it for a moment.
    const auto is_pinned = [](int problem) { return problem == EBUSY; };
    const int refusal = Retry(kPatience, is_pinned, [this] { return native::RemoveFolder(path_.Text()); });
    if (refusal == 0 || SaysGone(refusal)) return Removal::kDone;
    const bool unread = reading_problem != 0 && refusal == ENOTEMPTY;
    return path_.Fail(Removal::kFolderStays, unread ? reading_problem : refusal);
  }

 private:
  // Another volume gets a copy.
  int MoveAway(std::uint64_t* size) {
    native::Status status = {};
    if (native::StatusOf(path_.Text(), false, &status) == 0) *size = status.size;
    const char* const target = hooks_.destination(path_.Text(), hooks_.argument);
    if (target == nullptr) return LastErrorCode();
    if (MoveFileA(path_.Text(), target) != 0) return 0;
    if (LastErrorCode() != EXDEV || status.is_link) return LastErrorCode();
    const Writing writing = {.safety = Safety::kSynced, .expects_new = true};
    if (!IsCopied(CopyFile(path_.Text(), target, writing, CopiedTimes::kAccessedAndWritten)))
      return LastErrorCode();
    return DeleteUnheld(path_.Text(), nullptr);
  }

  // Stores why the folder could not be read in `problem`.
  Removal RemoveContents(int& problem) {
    const OpenFile folder(path_.Text(), kPinned);
    problem = folder.Problem();
    hooks_.between();
    if (!folder.IsOpen()) return Removal::kDone;
    if (folder.Status().is_link) return path_.Fail(Removal::kFolderStays, ELOOP);  // it was replaced
    FolderEntries entries(path_.Text());
    while (const native::Entry* entry = entries.Next()) {
      const Removal result = RemoveNamed(*entry);
      if (result != Removal::kDone) return result;
      hooks_.between();
      if (hooks_.stops()) return path_.Fail(Removal::kStopped, ECANCELED);
    }
    problem = entries.Problem();
    return Removal::kDone;
  }

  Removal RemoveNamed(const native::Entry& entry) {
    const string_view name = entry.name;
    if (name == "." || name == "..") return Removal::kDone;
    return path_.Below(name, [&] {
      return RemoveEntry((entry.attributes & native::kLinkAttribute) != 0,
                         (entry.attributes & native::kFolderAttribute) != 0);
    });
  }

  const RemovalHooks& hooks_;
  RemovalPath path_;
};

// Pins the folders between the root and the last component, so that none of them is or becomes a link, and
// calls `remove`.
template <typename Remove>
Removal WithPinned(string_view path, std::size_t from, Walk& walk, Remove remove) {
  const std::size_t end = path.find('\\', from);
  if (end == string_view::npos) return remove();
  if (end == 0 || end == from) return WithPinned(path, end + 1, walk, remove);
  char folder[kMaxPath] = {};
  path.copy(folder, std::min(end, sizeof folder - 1));
  const OpenFile pinned(folder, kPinned);
  const int problem = pinned.IsOpen() && pinned.Status().is_link ? ELOOP : pinned.Problem();
  if (problem == 0) return WithPinned(path, end + 1, walk, remove);
  walk.Path().Report(0);
  return SaysGone(problem) ? Removal::kDone : walk.Path().Fail(Removal::kFileStays, problem);
}

Removal RemoveLast(const char* path, bool must_be_folder, Walk& walk) {
  native::Status status = {};
  int problem = native::StatusOf(path, false, &status);
  // The name of a file followed by a separator is not valid.
  if (problem == 0 && must_be_folder && !status.is_folder) problem = ENOTDIR;
  if (problem == 0) return walk.RemoveEntry(status.is_link, status.is_folder);
  walk.Path().Report(0);
  return SaysGone(problem) ? Removal::kDone : walk.Path().Fail(Removal::kFileStays, problem);
}

// Returns true for the root folder of a drive or of the current drive.
bool IsRoot(string_view bare) {
  return bare.empty() || (bare.size() == 2 && bare[1] == ':');
}

}  // namespace

Removal RemoveTree(const char* path, std::size_t root_length, const RemovalHooks& hooks) {
  const HostPath host(path);
  const string_view given = host.Text();
  const string_view bare = given.substr(0, given.find_last_not_of('\\') + 1);
  Walk walk(hooks);
  walk.Path().Set(path);
  if (IsRoot(bare)) {
    walk.Path().Report(0);
    return given.empty() ? Removal::kDone : walk.Path().Fail(Removal::kFolderStays, EBUSY);
  }
  const bool ends_in_separator = given.size() != bare.size();
  return WithPinned(bare, std::min(root_length + 1, bare.size()), walk, [&] {
    native::Status status = {};
    const std::string name(bare);
    if (native::StatusOf(name.c_str(), false, &status) == 0 && status.is_link) walk.Path().Set(bare);
    return RemoveLast(name.c_str(), ends_in_separator, walk);
  });
}

}  // namespace tvl
