#include "platform/remove_tree.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

#include "host/descriptor.h"
#include "host/folder_reader.h"
#include "host/system_calls.h"
#include "platform/common/removal_path.h"
#include "platform/copy_file.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/posix/delete_file.h"

namespace tvl {
namespace {

using std::string_view;

constexpr int kFolderFlags = O_DIRECTORY | O_CLOEXEC;

bool SaysGone(int problem) {
  return problem == ENOENT || problem == ENOTDIR;
}

bool IsGone(int folder, const char* name) {
  struct stat status = {};
  return System().fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0 && SaysGone(errno);
}

// Like FileLength, for a name in an open folder.
std::uint64_t LengthOf(int folder, const char* name) {
  const Descriptor file(System().openat(folder, name, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, 0));
  struct stat status = {};
  if (!file.IsOpen() || System().fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) return 0;
  return static_cast<std::uint64_t>(status.st_size);
}

// One removal, with the path that it has reached, in the form with backslashes.
class Walk {
 public:
  explicit Walk(const RemovalHooks& hooks) : hooks_(hooks), path_(hooks) {}

  RemovalPath& Path() { return path_; }

  // `kind` is the DT_ value of the name.
  Removal RemoveEntry(int folder, const char* name, unsigned char kind) {
    if (kind == DT_UNKNOWN) {
      struct stat status = {};
      if (System().fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0)
        kind = static_cast<unsigned char>(IFTODT(status.st_mode));
    }
    return kind == DT_DIR ? RemoveFolder(folder, name) : RemoveFile(folder, name, kind);
  }

 private:
  Removal RemoveFile(int folder, const char* name, unsigned char kind) {
    const bool wanted = hooks_.reached != nullptr;
    std::uint64_t size = wanted && kind == DT_LNK ? LengthOf(folder, name) : 0;
    const int problem = hooks_.destination != nullptr
                            ? MoveAway(folder, name, kind)
                            : DeleteAt(folder, name, kind, wanted ? &size : nullptr);
    const bool gone = problem == 0 || SaysGone(problem);
    if (wanted && !gone && size == 0 && kind == DT_REG) size = LengthOf(folder, name);
    path_.Report(size);
    return gone ? Removal::kDone : path_.Fail(Removal::kFileStays, problem);
  }

  // Another file system gets a copy.
  int MoveAway(int folder, const char* name, unsigned char kind) {
    const char* const target = hooks_.destination(path_.Text(), hooks_.argument);
    if (target == nullptr) return LastErrorCode();
    const int problem = MoveAwayAt(folder, name, kind, HostPath(target).Text());
    if (problem != EXDEV || kind != DT_REG) return problem;
    const Writing writing = {.safety = Safety::kSynced, .expects_new = true};
    if (!IsCopied(CopyFile(path_.Text(), target, writing, CopiedTimes::kAccessedAndWritten)))
      return LastErrorCode();
    return DeleteAt(folder, name, kind, nullptr);
  }

  Removal RemoveFolder(int folder, const char* name) {
    Descriptor opened(System().openat(folder, name, O_RDONLY | O_NOFOLLOW | kFolderFlags, 0));
    int reading_problem = opened.IsOpen() ? 0 : errno;
    if (reading_problem == ENOTDIR) return RemoveFile(folder, name, DT_UNKNOWN);  // it was replaced
    if (const Removal result = RemoveContents(std::move(opened), reading_problem); result != Removal::kDone)
      return result;
    path_.Report(0);
    if (System().unlinkat(folder, name, AT_REMOVEDIR) == 0) return Removal::kDone;
    const int refusal = errno;
    if (SaysGone(refusal) && IsGone(folder, name)) return Removal::kDone;
    const bool unread = reading_problem != 0 && (refusal == ENOTEMPTY || refusal == EEXIST);
    return path_.Fail(Removal::kFolderStays, unread ? reading_problem : refusal);
  }

  // `problem` is why the folder could not be opened, and afterwards why it could not be read. Closes the
  // folder.
  Removal RemoveContents(Descriptor opened, int& problem) {
    const Descriptor folder = std::move(opened);
    FolderReader reader(folder.Get(), problem);
    hooks_.between();
    while (const dirent64* entry = reader.Next()) {
      const Removal result = RemoveNamed(folder.Get(), *entry);
      if (result != Removal::kDone) return result;
      hooks_.between();
      if (hooks_.stops()) return path_.Fail(Removal::kStopped, ECANCELED);
    }
    problem = reader.Problem();
    return Removal::kDone;
  }

  Removal RemoveNamed(int folder, const dirent64& entry) {
    const string_view name = entry.d_name;
    if (name == "." || name == ".." || name.find('\\') != string_view::npos) return Removal::kDone;
    return path_.Below(name, [&] { return RemoveEntry(folder, entry.d_name, entry.d_type); });
  }

  const RemovalHooks& hooks_;
  RemovalPath path_;
};

// The folder of the last component of a path, opened step by step, so that links are followed in the root
// only.
class ParentFolder {
 public:
  ParentFolder(string_view path, std::size_t root_length) : name_(path) {
    const std::size_t last = path.rfind('/');
    const std::size_t root = std::min(root_length, last);
    Open(last == string_view::npos ? "." : root == 0 ? "/" : Text(path.substr(0, root)), true);
    if (last == string_view::npos) return;
    name_.remove_prefix(root + 1);
    for (std::size_t end = name_.find('/'); problem_ == 0 && end != string_view::npos;
         end = name_.find('/')) {
      if (end > 0) Open(Text(name_.substr(0, end)), false);
      name_.remove_prefix(end + 1);
    }
  }

  [[nodiscard]] int Problem() const { return problem_; }
  [[nodiscard]] int Get() const { return folder_.Get(); }
  [[nodiscard]] const char* Name() { return Text(name_); }

 private:
  const char* Text(string_view text) {
    const std::size_t length = text.copy(text_, sizeof text_ - 1);
    text_[length] = 0;
    return text_;
  }

  void Open(const char* name, bool follow) {
    const int at = folder_.IsOpen() ? folder_.Get() : AT_FDCWD;
    Descriptor next(System().openat(at, name, O_PATH | kFolderFlags | (follow ? 0 : O_NOFOLLOW), 0));
    if (!next.IsOpen()) problem_ = errno;
    struct stat status = {};
    if (problem_ == ENOTDIR && !follow && System().fstatat(at, name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        S_ISLNK(status.st_mode))
      problem_ = ELOOP;
    folder_ = std::move(next);
  }

  Descriptor folder_;
  int problem_ = 0;
  string_view name_;
  char text_[kMaxPath] = {};
};

Removal RemoveFrom(ParentFolder& parent, string_view path, string_view bare, Walk& walk) {
  struct stat status = {};
  int problem = parent.Problem();
  if (problem == 0 && System().fstatat(parent.Get(), parent.Name(), &status, AT_SYMLINK_NOFOLLOW) != 0)
    problem = errno;
  // The name of a file followed by a separator is not valid.
  if (problem == 0 && path != bare && !S_ISDIR(status.st_mode) && !S_ISLNK(status.st_mode)) problem = ENOTDIR;
  if (problem != 0) {
    walk.Path().Report(0);
    return SaysGone(problem) ? Removal::kDone : walk.Path().Fail(Removal::kFileStays, problem);
  }
  if (S_ISLNK(status.st_mode)) walk.Path().Set(bare);
  return walk.RemoveEntry(parent.Get(), parent.Name(), static_cast<unsigned char>(IFTODT(status.st_mode)));
}

}  // namespace

Removal RemoveTree(const char* path, std::size_t root_length, const RemovalHooks& hooks) {
  const string_view given = path;
  Walk walk(hooks);
  walk.Path().Set(given);
  const std::size_t last = given.find_last_not_of("\\/");
  if (last == string_view::npos) {
    walk.Path().Report(0);
    return given.empty() ? Removal::kDone
                         : walk.Path().Fail(Removal::kFolderStays, EBUSY);  // the root folder
  }
  const string_view bare = given.substr(0, last + 1);
  const HostPath host(path);
  ParentFolder parent(string_view(host.Text(), bare.size()), root_length);
  return RemoveFrom(parent, given, bare, walk);
}

}  // namespace tvl
