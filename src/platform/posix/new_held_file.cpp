#include "platform/new_held_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <iterator>
#include <string>
#include <utility>

#include "host/first_number.h"
#include "host/system_calls.h"
#include "platform/held_file.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/posix/descriptor_of.h"
#include "platform/posix/open_file.h"

namespace tvl {
namespace {

constexpr int kMostTries = 100;
constexpr std::size_t kBlock = 4096;

// Returns a name next to `path` that searches for markers do not find and that is not longer than that of a
// marker.
std::string TemporaryName(const std::string& path) {
  static std::atomic<unsigned int> count = FirstNumber();
  char name[32];
  std::snprintf(name, sizeof name, ".%x.%x.new", static_cast<unsigned int>(getpid()), count++);
  return path.substr(0, path.find_last_of("\\/") + 1) + name;
}

int Unlink(const std::string& path) {
  return System().unlink(HostPath(path.c_str()).Text());
}

// An empty file that this object creates and holds. It is deleted at the end unless it is kept.
class NewFile {
 public:
  explicit NewFile(std::string path)
      : path_(std::move(path)), file_(path_.c_str(), O_RDWR | O_CREAT | O_EXCL) {
    if (!file_.IsOpen()) {
      problem_ = LastErrorCode();
      return;
    }
    ShareLikeFolder(path_.c_str(), file_.Descriptor());
    is_held_ = HoldFile(file_.Descriptor());
    if (!is_held_) problem_ = LastErrorCode();
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile() {
    if (!file_.IsOpen()) return;
    const bool is_there = Has(path_.c_str());
    if (is_held_) ReleaseFile(file_.Descriptor());
    // Closes the file first, because deleting an open file leaves another name on NFS and fails on SMB.
    static_cast<void>(file_.Close());
    if (is_there) Unlink(path_);
  }

  // Returns why the file could not be created or held, or 0.
  [[nodiscard]] int Problem() const { return problem_; }
  [[nodiscard]] bool Has(const char* name) const { return StillNames(name, file_.Descriptor()); }

  [[nodiscard]] HANDLE Keep() {
    is_held_ = false;
    return file_.Release();
  }

 private:
  std::string path_;
  OpenFile file_;
  bool is_held_ = false;
  int problem_ = 0;
};

// The result of giving a file its name.
enum class Naming {
  kDone,
  kTaken,    // a file with that name exists
  kDeleted,  // a trier has deleted the file
  kRefused,  // not possible on this mount
};

Naming AfterFailure(int problem) {
  if (problem == EEXIST) return Naming::kTaken;
  return problem == ENOENT ? Naming::kDeleted : Naming::kRefused;
}

// Changes the name of `file` from `from` to `to`, unless that is taken.
Naming MoveToName(const NewFile& file, const std::string& from, const char* to) {
  const HostPath old_name(from.c_str());
  const HostPath new_name(to);
  // A network file system that repeats a request may report a success as a failure.
  const auto result = [&](int returned) {
    const int problem = errno;
    return returned == 0 || file.Has(to) ? Naming::kDone : AfterFailure(problem);
  };
  const Naming renamed =
      result(System().renameat_noreplace(AT_FDCWD, old_name.Text(), AT_FDCWD, new_name.Text()));
  if (renamed != Naming::kRefused) return renamed;
  const Naming linked = result(System().link(old_name.Text(), new_name.Text()));
  if (linked == Naming::kDone) System().unlink(old_name.Text());
  return linked;
}

HANDLE CreateUnderOwnName(const char* path, int& problem) {
  for (int tries = 0; tries < kMostTries; ++tries) {
    NewFile file(path);
    problem = file.Problem();
    if (problem == 0 && file.Has(path)) return file.Keep();
    if (problem != 0 && problem != EBUSY) break;
  }
  return INVALID_HANDLE_VALUE;
}

HANDLE Create(const char* path, int& problem) {
  for (int tries = 0; tries < kMostTries; ++tries) {
    const std::string name = TemporaryName(path);
    NewFile file(name);
    problem = file.Problem();
    if (problem == EEXIST || problem == EBUSY) continue;  // left by another process, or locked by a trier
    if (problem != 0) return INVALID_HANDLE_VALUE;
    switch (MoveToName(file, name, path)) {
      case Naming::kDone:
        return file.Keep();
      case Naming::kTaken:
        problem = EEXIST;
        return INVALID_HANDLE_VALUE;
      case Naming::kRefused:
        return CreateUnderOwnName(path, problem);
      case Naming::kDeleted:
        break;
    }
  }
  return INVALID_HANDLE_VALUE;
}

// Makes the file nonempty for reads, because reads of an empty file do not contact the server.
void ReadFromServer(HANDLE file) {
  System().set_flags(DescriptorOf(file), O_DIRECT | O_NONBLOCK);
}

}  // namespace

HANDLE CreateHeldFile(const char* path) {
  int problem = 0;
  const HANDLE file = Create(path, problem);
  if (file == INVALID_HANDLE_VALUE) {
    NoteError(path, problem);
  } else {
    ReadFromServer(file);
  }
  return file;
}

bool IsStillHeld(const char* path, HANDLE file) {
  if (!StillNames(path, file)) return false;
  alignas(kBlock) char block[kBlock];
  if (System().read(DescriptorOf(file), block, sizeof block) >= 0) return true;
  constexpr int lost[] = {EBADF, EBADFD, EIO, ENOTCONN, ESTALE};
  return std::ranges::find(lost, errno) == std::end(lost);
}

}  // namespace tvl
