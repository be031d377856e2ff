#include "directory/sync_results.h"

#include <new>

#include "client/sync_list.h"
#include "directory/state.h"
#include "platform/last_error.h"

void tvl::SyncResults::Note(int index, int code) {
  if (index < 0 || static_cast<std::size_t>(index) >= codes_.size()) return;
  codes_[static_cast<std::size_t>(index)] = code;
  if (code == TVL_OK) return;
  const LastError last = TakeLastError();
  try {
    failures_[index] = {last.code, last.path};
  } catch (const std::bad_alloc&) {
    failures_.erase(index);  // the code is sufficient
  }
}

int tvl::SyncResults::Code(int index, int* code) const {
  if (index < 0 || static_cast<std::size_t>(index) >= codes_.size()) return 0;
  const int known = codes_[static_cast<std::size_t>(index)];
  if (known == kNone) return 0;
  *code = known;
  return 1;
}

int tvl::SyncResults::Reason(int index, int* error, const char** path) const {
  const auto failure = failures_.find(index);
  if (failure == failures_.end()) return 0;
  *error = failure->second.error;
  *path = failure->second.path.c_str();
  return 1;
}

int CTVLClientSmbOpr::SyncPlanResult(int index, int* code) const {
  return state->sync_results.Code(index, code);
}

int CTVLClientSmbOpr::SyncPlanFailure(int index, int* error, const char** path) const {
  return state->sync_results.Reason(index, error, path);
}

int CTVLClientSmbOpr::SyncPlanSource(int index, SYNC_PLAN_KIND* kind, unsigned long long* size) const {
  if (index < 0 || index >= syncDirCount) return 0;
  *kind = static_cast<SYNC_PLAN_KIND>(syncDirFiles[index].kind);
  *size = syncDirFiles[index].bytes;
  return 1;
}

int CTVLClientSmbOpr::SyncPlanLeftOut(int index, const char** folder, const char** name, TVL_LEFT_OUT* reason,
                                      int* inTarget) const {
  if (index < 0 || static_cast<std::size_t>(index) >= state->left_out.size()) return 0;
  const tvl::LeftOut& left_out = state->left_out[static_cast<std::size_t>(index)];
  *folder = left_out.folder.c_str();
  *name = left_out.name.c_str();
  *reason = left_out.reason;
  *inTarget = left_out.in_target ? 1 : 0;
  return 1;
}
