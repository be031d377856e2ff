#include "platform/transfer_group.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

#include "host/descriptor.h"
#include "host/sync.h"
#include "host/system_calls.h"
#include "platform/held_file.h"
#include "platform/last_error.h"
#include "platform/names.h"
#include "platform/posix/descriptor_of.h"
#include "platform/posix/folder_of_file.h"
#include "platform/posix/part_replacer.h"

namespace tvl {
namespace {

// File systems whose syncfs() reaches the disk. Some others, such as SMB and FUSE, only pass the data on;
// there each file must be synced.
constexpr unsigned int kSyncedWhole[] = {EXT4_SUPER_MAGIC, XFS_SUPER_MAGIC, BTRFS_SUPER_MAGIC,
                                         F2FS_SUPER_MAGIC, TMPFS_MAGIC,     NFS_SUPER_MAGIC};

// Waiting parts are open, and the application needs descriptors as well.
std::size_t HalfOfDescriptors(std::size_t most) {
  rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return most;
  return static_cast<std::size_t>(std::clamp<rlim_t>(limit.rlim_cur / 2, 1, most));
}

bool SyncsWhole(int folder) {
  struct statfs status = {};
  if (System().fstatfs(folder, &status) != 0) return false;
  const auto type = static_cast<unsigned int>(status.f_type);
  return std::find(std::begin(kSyncedWhole), std::end(kSyncedWhole), type) != std::end(kSyncedWhole);
}

}  // namespace

// A file system that the group has written to.
struct TransferGroup::Mounted {
  std::uint64_t device;
  Descriptor folder;
  bool syncs_all;  // syncfs() reaches the disk and reports errors
};

TransferGroup::TransferGroup() : most_(HalfOfDescriptors(kMostFiles)), process_(GetCurrentProcessId()) {}

TransferGroup::~TransferGroup() {
  Clear();
}

void TransferGroup::Take(FinishedPart part, std::uint64_t bytes, int failure) {
  NoteMount(part);
  entries_.push_back({std::move(part), failure, false, {}});
  bytes_ += bytes;
}

void TransferGroup::Replace(FinishedPart part, int failure) {
  if (replacer_ == nullptr) replacer_ = std::make_unique<PartReplacer>();
  entries_.push_back({{}, failure, false, std::exchange(next_, std::nullopt)});
  try {
    replacer_->Add(std::move(part), entries_.size() - 1);
  } catch (const std::bad_alloc&) {
    entries_.pop_back();
    throw;
  }
}

// Opens the folder before the group's first sync, so that this reports all errors from now on.
void TransferGroup::NoteMount(const FinishedPart& part) {
  const auto same = [&](const Mounted& mount) { return mount.device == part.device; };
  if (std::any_of(mounts_.begin(), mounts_.end(), same)) return;
  mounts_.reserve(mounts_.size() + 1);
  Descriptor folder(System().open(FolderOf(part.path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
  const bool syncs_all = folder.IsOpen() && SyncsWhole(folder.Get());
  mounts_.push_back({part.device, std::move(folder), syncs_all});
}

bool TransferGroup::IsSyncedWhole(const FinishedPart& part) const {
  return std::any_of(mounts_.begin(), mounts_.end(),
                     [&](const Mounted& mount) { return mount.device == part.device && mount.syncs_all; });
}

int TransferGroup::SyncMounts() const {
  for (const Mounted& mount : mounts_) {
    if (mount.syncs_all && System().syncfs(mount.folder.Get()) != 0) return errno;
  }
  return 0;
}

int TransferGroup::SyncParts() const {
  for (const Entry& entry : entries_) {
    if (entry.part.file == INVALID_HANDLE_VALUE || IsSyncedWhole(entry.part)) continue;
    if (const int problem = Sync(DescriptorOf(entry.part.file))) return problem;
  }
  return 0;
}

// Syncs once for each run of files in one folder.
int TransferGroup::SyncFolders() const {
  std::string last;
  for (const Entry& entry : entries_) {
    if (entry.part.path.empty() || entry.failed || IsSyncedWhole(entry.part)) continue;
    const std::string folder = FolderOf(entry.part.target);
    if (folder == last) continue;
    if (!SyncNameOf(entry.part.target)) return LastErrorCode();
    last = folder;
  }
  return 0;
}

void TransferGroup::AwaitReplaced() {
  if (replacer_ == nullptr) return;
  for (const PartReplacer::Failure& failure : replacer_->Finish()) {
    if (failure.error.code == ENOENT && Repeat(failure.index)) continue;
    entries_.at(failure.index).failed = true;
    RestoreLastError(failure.error);
  }
}

std::vector<int> TransferGroup::End() {
  int problem = SyncMounts();
  if (problem == 0) problem = SyncParts();
  if (problem == 0) {
    RenameAll();
    problem = SyncMounts();
    if (problem == 0) problem = SyncFolders();
  }
  if (problem != 0) FailAll(problem);
  AwaitReplaced();
  std::vector<int> results = Results();
  Clear();
  return results;
}

// In a forked child the parts belong to the parent, and the threads do not exist.
void TransferGroup::Clear() {
  if (process_ == GetCurrentProcessId())
    replacer_.reset();
  else
    static_cast<void>(replacer_.release());
  for (const Entry& entry : entries_) {
    if (entry.part.file == INVALID_HANDLE_VALUE) continue;
    if (process_ == GetCurrentProcessId()) {
      System().unlink(entry.part.path.c_str());
      ReleaseFile(entry.part.file);
    }
    System().close(DescriptorOf(entry.part.file));
  }
  entries_.clear();
  mounts_.clear();
  bytes_ = 0;
}

}  // namespace tvl
