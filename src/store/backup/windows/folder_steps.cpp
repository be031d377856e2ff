#include "store/backup/folder_steps.h"

#include <cerrno>

#include "platform/common/retry.h"
#include "platform/last_error.h"
#include "platform/remove_tree.h"
#include "platform/windows/native.h"

namespace tvl {
namespace {

constexpr int kPatience = 10;  // seconds

// Programs that examine new files have them open for a while, and then no folder above them can be renamed.
bool MayPass(int problem) {
  return problem == EACCES || problem == EBUSY;
}

}  // namespace

int CreatePrivateFolder(const std::string& path) {
  return native::CreateFolder(path.c_str());
}

int RemoveFolderTree(const std::string& path) {
  constexpr RemovalHooks kHooks = {nullptr, nullptr, [] {}, [] { return false; }};
  const Removal result = RemoveTree(path.c_str(), path.rfind('/'), kHooks);
  return result == Removal::kDone ? 0 : LastErrorCode();
}

// Each file was synced when it was written.
int SyncTree(const std::string& /*folder*/) {
  return 0;
}

int RenameFolder(const std::string& from, const std::string& to) {
  const int problem = native::RemoveFolder(to.c_str());
  if (problem != 0 && problem != ENOENT) return problem;
  return Retry(kPatience, MayPass, [&] { return native::Rename(from.c_str(), to.c_str(), false); });
}

// The file system writes names to its log in order, and has no call to wait for those of a folder.
int SyncName(const std::string& /*path*/) {
  return 0;
}

}  // namespace tvl
