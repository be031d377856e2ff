#include "store/backup/part_folder.h"

#include <cerrno>
#include <filesystem>
#include <utility>

#include "platform/filesystem_path.h"
#include "store/backup/entry_status.h"
#include "store/backup/folder_steps.h"
#include "store/part_name.h"

namespace tvl {
namespace {

namespace fs = std::filesystem;

StoreFailure Failure(const char* what, int error, const std::string& path) {
  return {TVL_ERR_CREATE_DIR, what, error, path};
}

int NumberOf(const std::error_code& problem) {
  return problem.default_error_condition().value();
}

}  // namespace

PartFolder::PartFolder(std::string path)
    : path_(std::move(path)), part_(path_ + kPartSuffix), lock_path_(part_ + ".lock"), lock_(lock_path_) {}

PartFolder::~PartFolder() {
  if (created_) static_cast<void>(RemoveFolderTree(part_));
}

StoreFailure PartFolder::Check() const {
  EntryStatus status;
  if (const int problem = ExamineEntry(path_.c_str(), status))
    return problem == ENOENT ? StoreFailure() : Failure("folder cannot be examined", problem, path_);
  if (status.kind != EntryKind::kFolder) return Failure("exists and is not a folder", 0, path_);
  std::error_code problem;
  const bool is_empty = fs::is_empty(FilesystemPath(path_), problem);
  if (problem) return Failure("folder cannot be read", NumberOf(problem), path_);
  return is_empty ? StoreFailure() : Failure("the folder is not empty; name a new one", 0, path_);
}

StoreFailure PartFolder::Hold() {
  const int problem = lock_.Hold();
  if (problem == EBUSY) return {TVL_ERR_STORE_IN_USE, "another process is writing this folder", 0, part_};
  return problem == 0 ? StoreFailure() : Failure("file cannot be created", problem, lock_path_);
}

// A folder without a lock was not left by us, so its contents stay.
StoreFailure PartFolder::MakeEmpty() const {
  const int problem = lock_.WasLeft() ? RemoveFolderTree(part_) : 0;
  if (problem != 0) return Failure("what a killed process left cannot be removed", problem, part_);
  if (const int creating = CreatePrivateFolder(part_))
    return Failure("folder cannot be created", creating, part_);
  return {};
}

StoreFailure PartFolder::Create() {
  std::error_code problem;
  fs::create_directories(FilesystemPath(path_).parent_path(), problem);
  if (problem) return Failure("folder cannot be created", NumberOf(problem), path_);
  if (StoreFailure failure = Check()) return failure;
  if (StoreFailure failure = Hold()) return failure;
  if (StoreFailure failure = MakeEmpty()) return failure;
  created_ = true;
  return {};
}

StoreFailure PartFolder::Finish() {
  if (const int problem = SyncTree(part_))
    return Failure("the disk does not confirm what was written", problem, part_);
  if (const int problem = RenameFolder(part_, path_))
    return Failure("the finished folder cannot get its name", problem, path_);
  created_ = false;
  const int problem = SyncName(path_);
  lock_.Release();
  return problem == 0 ? StoreFailure()
                      : Failure("the name of the finished folder cannot be synced", problem, path_);
}

}  // namespace tvl
