#include <cerrno>
#include <string_view>

#include <tvlclient/tvlc.h>

#include "base/path_helpers.h"
#include "base/pump.h"
#include "base/text.h"
#include "client/copy_tree.h"
#include "frontend/c/handle.h"
#include "frontend/c/long_work.h"
#include "frontend/c/paths.h"
#include "platform/files.h"
#include "platform/remove_tree.h"
#include "platform/transfer_group.h"
#include "platform/writing.h"

// The whole trees. They are walked here, and not by the operations of the connection, which report neither
// the failures inside a tree nor sizes above 4 GiB.

namespace {

using std::string_view;
using tvl::PathText;
using tvl::c::LongWork;
using tvl::c::OnDirectory;

bool IsSeparator(char character) {
  return character == '/' || character == '\\';
}

// A name is refused for a removal if it is the store itself, or could leave it.
bool MayBeRemoved(string_view name) {
  bool has_component = false;
  while (!name.empty()) {
    const std::size_t end = name.find_first_of("/\\");
    const string_view component = name.substr(0, end);
    if (component == "..") return false;
    has_component = has_component || (!component.empty() && component != ".");
    name.remove_prefix(end == string_view::npos ? name.size() : end + 1);
  }
  return has_component;
}

// Returns the path of a local tree, which does not fit if there is no working directory to be relative to.
PathText LocalTree(CTVLClientSmbOpr& client, const char* name) {
  if (IsSeparator(*name)) return tvl::JoinPath("", name);
  if (client.DumbMode() != 1) return tvl::JoinPath(client.WorkingDirectory(), name);
  PathText none;
  none.Discard();
  return none;
}

struct Paths {
  PathText source;
  PathText target;
};

int CopyPaths(CTVLClientSmbOpr& client, const Paths& paths, const LongWork& work) {
  if (!paths.source.Fits() || !paths.target.Fits()) {
    tvl::NoteError(nullptr, ENAMETOOLONG);
    return TVL_ERR_BAD_PATH;
  }
  if (!tvl::NameExists(paths.source.Text())) {
    tvl::NoteError(paths.source.Text(), ENOENT);
    return TVL_ERR_COPY;
  }
  tvl::TransferGroup group;
  const tvl::Writing writing = {
      .safety = tvl::SafetyOf(client.ConfigSafeOnTransfert()), .group = &group, .failure = TVL_ERR_COPY};
  const int code = tvl::CopyTree(paths.source.Text(), paths.target.Text(), work, writing);
  if (code == TVL_ERR_STOPPED || work.Failures() == 0) return code;
  work.RestoreFirstFailure();
  return TVL_ERR_COPY;
}

// Copies the tree whose paths `find` returns.
template <typename Find>
int CopyTree(tvlc_store* store, const char* first, const char* second, tvlc_progress progress,
             void* user_data, size_t* failures, Find find) {
  return OnDirectory(store, {first, second}, [&](CTVLClientSmbOpr& client) -> int {
    const LongWork work(*store->connection, progress, user_data);
    const int code = CopyPaths(client, find(client), work);
    if (failures != nullptr) *failures = work.Failures();
    return code;
  });
}

void ReportRemoved(const char* path, std::uint64_t size, void* work) {
  static_cast<const LongWork*>(work)->Reached(path, size);
}

int CodeOf(tvl::Removal removal) {
  switch (removal) {
    case tvl::Removal::kFileStays:
      return TVL_ERR_DELETE_FILE;
    case tvl::Removal::kFolderStays:
      return TVL_ERR_DELETE_DIR;
    case tvl::Removal::kStopped:
      return TVL_ERR_STOPPED;
    case tvl::Removal::kDone:
      break;
  }
  return TVL_OK;
}

// Links in the path of `root` itself are followed.
int Remove(const char* root, const char* name, LongWork& work) {
  const PathText path = tvl::JoinPath(root, name);
  if (!path.Fits()) return TVL_ERR_BAD_PATH;
  const std::size_t root_length = string_view(root).size() - 1;  // it ends in a separator
  return CodeOf(
      tvl::RemoveTree(path.Text(), root_length, {ReportRemoved, &work, PumpMessages, tvl::StopRequested}));
}

}  // namespace

int tvlc_copy_tree(tvlc_store* store, const char* source, const char* target, tvlc_progress progress,
                   void* user_data, size_t* failures) {
  return CopyTree(store, source, target, progress, user_data, failures, [&](CTVLClientSmbOpr& client) {
    return Paths{tvl::JoinPath(client.ServerRoot(), source), tvl::JoinPath(client.ServerRoot(), target)};
  });
}

int tvlc_get_tree(tvlc_store* store, const char* name, const char* local, tvlc_progress progress,
                  void* user_data, size_t* failures) {
  return CopyTree(store, name, local, progress, user_data, failures, [&](CTVLClientSmbOpr& client) {
    return Paths{tvl::JoinPath(client.ServerRoot(), name), LocalTree(client, local)};
  });
}

int tvlc_put_tree(tvlc_store* store, const char* name, const char* local, tvlc_progress progress,
                  void* user_data, size_t* failures) {
  return CopyTree(store, name, local, progress, user_data, failures, [&](CTVLClientSmbOpr& client) {
    return Paths{LocalTree(client, local), tvl::JoinPath(client.ServerRoot(), name)};
  });
}

// As for all changes of the store's tree, the result for the mirror does not matter.
int tvlc_remove_tree(tvlc_store* store, const char* name, tvlc_progress progress, void* user_data) {
  return OnDirectory(store, {name}, [&](CTVLClientSmbOpr& client) -> int {
    if (!MayBeRemoved(name)) return TVL_ERR_BAD_PATH;
    LongWork work(*store->connection, progress, user_data);
    const int code = Remove(client.ServerRoot(), name, work);
    if (code != TVL_OK || client.DumbMode() == 1) return code;
    const tvl::LastError none = tvl::TakeLastError();
    LongWork silent(*store->connection, nullptr, nullptr);
    static_cast<void>(Remove(client.WorkingDirectory(), name, silent));
    tvl::RestoreLastError(none);
    return TVL_OK;
  });
}
