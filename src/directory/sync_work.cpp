#include <cerrno>
#include <memory>
#include <new>
#include <optional>
#include <vector>

#include "base/file_helpers.h"
#include "base/path_helpers.h"
#include "base/stop.h"
#include "client/local_tree.h"
#include "client/sync_list.h"
#include "directory/state.h"
#include "directory/sync_backup.h"
#include "platform/files.h"
#include "platform/last_error.h"

// The second phase of a synchronization: carries out the plan, entry by entry.

using tvl::PathText;

// One run of the work.
class CTVLClientSmbOpr::State::SyncWorker {
 public:
  SyncWorker(CTVLClientSmbOpr& opr, ProgressCallback callback, void* user_data)
      : opr_(opr), callback_(callback), user_data_(user_data) {
    const State& state = *opr.state;
    if (!state.backup_folder.empty()) backup_.emplace(state.backup_folder.c_str(), state.Writing(0).safety);
  }

  int Run() {
    opr_.state->sync_results.Begin(opr_.syncDirCount);
    OpenGroup();
    const bool stopped = !DoAll();
    EndGroup();
    if (owns_group_) opr_.state->group.reset();
    return stopped ? TVL_ERR_STOPPED : result_;
  }

 private:
  // Returns false if the application stopped the work.
  bool DoAll() {
    for (int index = 0; index < opr_.syncDirCount; ++index) {
      const SyncDirFile& entry = opr_.syncDirFiles[index];
      if (HasWork(entry) && tvl::StopRequested()) return false;
      if (Do(index, entry) == TVL_ERR_STOPPED) return false;
      if (owns_group_ && opr_.state->group->IsFull()) EndGroup();
    }
    return true;
  }

  // Copies are completed together, unless they are part of a group of the caller.
  void OpenGroup() {
    const bool has_parts = opr_.state->Writing(0).safety != tvl::Safety::kInPlace;
    owns_group_ = has_parts && opr_.state->group == nullptr;
    if (owns_group_) opr_.state->group = std::make_unique<tvl::TransferGroup>();
  }

  // The results of a group's copies are known only at its end.
  void EndGroup() {
    if (!owns_group_) return;
    const std::vector<int> codes = opr_.state->group->End();
    for (std::size_t at = 0; at < waiting_.size(); ++at) {
      const int code = at < codes.size() ? codes[at] : TVL_OK;
      if (code != TVL_OK) result_ = code;
      Note(waiting_[at], code);
    }
    waiting_.clear();
  }

  [[nodiscard]] bool HasWork(const SyncDirFile& entry) const {
    return entry.operation == SYNC_DIR_FILE_COPY || entry.operation == SYNC_DIR_FILE_DELETE ||
           (entry.operation == SYNC_DIR_FILE_FOLDER && opr_.state->folders_later);
  }

  int Do(int index, const SyncDirFile& entry) {
    if (!HasWork(entry)) {
      Note(index, TVL_OK);
      return TVL_OK;
    }
    static_cast<void>(tvl::TakeLastError());  // an older failure does not explain this one
    switch (entry.operation) {
      case SYNC_DIR_FILE_COPY:
        return Copy(index, entry);
      case SYNC_DIR_FILE_DELETE:
        return Note(index, backup_ ? backup_->MoveHere(entry.target, entry.root_length)
                                   : tvl::RemoveInTree(entry.target, entry.root_length));
      default:
        return Note(index, MakeFolder(entry.target) ? TVL_OK : TVL_ERR_CREATE_DIR);
    }
  }

  int Copy(int index, const SyncDirFile& entry) {
    const std::size_t before = owns_group_ ? opr_.state->group->Count() : 0;
    const int code = KeepAndTransfer(entry);
    if (code != TVL_OK) result_ = code;
    if (code == TVL_OK && owns_group_ && opr_.state->group->Count() > before) {
      waiting_.push_back(index);
    } else {
      Note(index, code);
    }
    SyncDirFile reported = entry;  // the callback may modify it
    if (callback_ != nullptr) callback_(reported.source, reported.size, user_data_);
    return code;
  }

  int KeepAndTransfer(const SyncDirFile& entry) {
    if (backup_ && !backup_->Keep(entry.target, entry.root_length)) return TVL_ERR_COPY;
    return opr_.state->Transfer(entry.source, entry.target, opr_.state->set_times ? 1 : 0, false);
  }

  // Creates the folder and its parents.
  static bool MakeFolder(const char* path) {
    if (IsDirectory(path) != 0) return true;
    static_cast<void>(tvl::BuildFullPath("\\", path));
    return tvl::EnsureFolder(path);
  }

  int Note(int index, int code) const {
    opr_.state->sync_results.Note(index, code);
    return code;
  }

  CTVLClientSmbOpr& opr_;
  ProgressCallback callback_;
  void* user_data_;
  int result_ = TVL_OK;
  std::optional<tvl::SyncBackup> backup_;
  bool owns_group_ = false;
  std::vector<int> waiting_;  // entries of the copies in the group, in its order
};

void CTVLClientSmbOpr::SyncPlanSetTimes(int on) {
  state->set_times = on != 0;
}

int CTVLClientSmbOpr::SyncPlanBackups(const char* folder) try {
  const PathText path = tvl::JoinPath("", folder == nullptr ? "" : folder);
  if (!path.Fits()) return TVL_ERR_BAD_PATH;
  state->backup_folder = path.Text();
  return TVL_OK;
} catch (const std::bad_alloc&) {
  return TVL_ERR_BAD_PATH;
}

int CTVLClientSmbOpr::SyncDirSyncronize(ProgressCallback callback, void* userData) try {
  if (dumbMode == 1) return TVL_OK;
  const int result = State::SyncWorker(*this, callback, userData).Run();
  SyncDirRelease();
  return result;
} catch (const std::bad_alloc&) {
  tvl::NoteError(nullptr, ENOMEM);
  return state->CopyFailure();
}
