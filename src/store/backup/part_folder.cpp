#include "store/backup/part_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <utility>

#include "host/sync.h"
#include "host/system_calls.h"
#include "platform/held_file.h"
#include "store/part_name.h"

namespace tvl {
namespace {

namespace fs = std::filesystem;

StoreFailure Failure(const char* what, int error, const std::string& path) {
  return {TVL_ERR_CREATE_DIR, what, error, path};
}

}  // namespace

PartFolder::PartFolder(std::string path)
    : path_(std::move(path)), part_(path_ + kPartSuffix), lock_path_(part_ + ".lock") {}

PartFolder::~PartFolder() {
  std::error_code ignored;
  if (created_) fs::remove_all(part_, ignored);
  Release();
}

void PartFolder::Release() {
  if (!lock_.IsOpen()) return;
  System().unlink(lock_path_.c_str());
  ReleaseFile(lock_.Get());
  static_cast<void>(lock_.Close());
}

StoreFailure PartFolder::Check() const {
  struct stat status = {};
  if (System().lstat(path_.c_str(), &status) != 0)
    return errno == ENOENT ? StoreFailure() : Failure("folder cannot be examined", errno, path_);
  if (!S_ISDIR(status.st_mode)) return Failure("exists and is not a folder", 0, path_);
  std::error_code problem;
  const bool is_empty = fs::is_empty(path_, problem);
  if (problem) return Failure("folder cannot be read", problem.value(), path_);
  return is_empty ? StoreFailure() : Failure("the folder is not empty; name a new one", 0, path_);
}

StoreFailure PartFolder::Hold() {
  constexpr int kFlags = O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW;
  lock_ = Descriptor(System().open(lock_path_.c_str(), kFlags | O_EXCL, 0600));
  was_left_ = !lock_.IsOpen() && errno == EEXIST;
  if (was_left_) lock_ = Descriptor(System().open(lock_path_.c_str(), kFlags, 0600));
  if (!lock_.IsOpen()) return Failure("file cannot be created", errno, lock_path_);
  if (HoldFile(lock_.Get()) && StillNames(lock_path_.c_str(), lock_.Get())) return {};
  ReleaseFile(lock_.Get());
  static_cast<void>(lock_.Close());
  return {TVL_ERR_STORE_IN_USE, "another process is writing this folder", 0, part_};
}

// A folder without a lock was not left by us, so its contents stay.
StoreFailure PartFolder::MakeEmpty(bool is_leftover) const {
  std::error_code problem;
  if (is_leftover) fs::remove_all(part_, problem);
  if (problem) return Failure("what a killed process left cannot be removed", problem.value(), part_);
  if (System().mkdir(part_.c_str(), 0700) != 0) return Failure("folder cannot be created", errno, part_);
  return {};
}

StoreFailure PartFolder::Create() {
  std::error_code problem;
  fs::create_directories(fs::path(path_).parent_path(), problem);
  if (problem) return Failure("folder cannot be created", problem.value(), path_);
  if (StoreFailure failure = Check()) return failure;
  if (StoreFailure failure = Hold()) return failure;
  if (StoreFailure failure = MakeEmpty(was_left_)) return failure;
  created_ = true;
  return {};
}

StoreFailure PartFolder::Finish() {
  {
    const Descriptor folder(System().open(part_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
    if (!folder.IsOpen() || System().syncfs(folder.Get()) != 0)
      return Failure("the disk does not confirm what was written", errno, part_);
  }
  if (System().rename(part_.c_str(), path_.c_str()) != 0)
    return Failure("the finished folder cannot get its name", errno, path_);
  created_ = false;
  const int problem = SyncFolderOf(path_);
  Release();
  return problem == 0 ? StoreFailure()
                      : Failure("the name of the finished folder cannot be synced", problem, path_);
}

}  // namespace tvl
