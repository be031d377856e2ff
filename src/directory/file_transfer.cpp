#include <cerrno>

#include "base/file_helpers.h"
#include "base/fixed_text.h"
#include "base/path_helpers.h"
#include "base/text.h"
#include "directory/state.h"
#include "platform/copy_file.h"
#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/sync_folders.h"
#include "platform/target_file.h"
#include "transfer/compare.h"
#include "transfer/core.h"
#include "transfer/zlib_file.h"

namespace {

using tvl::CopiedTimes;
using tvl::CopyResult;
using tvl::PathText;

// An existing file, opened to read or set its times.
class TimedFile {
 public:
  TimedFile(const char* path, DWORD access)
      : file_(CreateFileA(path, access, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, 0)) {}
  ~TimedFile() {
    if (IsOpen()) CloseHandle(file_);
  }
  TimedFile(const TimedFile&) = delete;
  TimedFile& operator=(const TimedFile&) = delete;

  [[nodiscard]] bool IsOpen() const { return file_ != INVALID_HANDLE_VALUE; }

  // Sets the three times of this file to those of `other`.
  bool TakeTimesOf(const TimedFile& other) const {
    FILETIME creation = {};
    FILETIME access = {};
    FILETIME write = {};
    return GetFileTime(other.file_, &creation, &access, &write) != 0 &&
           SetFileTime(file_, &creation, &access, &write) != 0;
  }

 private:
  HANDLE file_;
};

// An internal result, not a code of the interface.
constexpr int kAppeared = -1;

// Compressed sizes are stored in 32 bits.
constexpr std::uint64_t kLeastCopiedPlain = std::uint64_t{1} << 32;

// Copies through the compressed form. Sets the modification time only if all times are to be set.
CopyResult CopyPackedOnce(const char* source, const char* target_path, const tvl::Writing& writing,
                          CopiedTimes times) {
  tvl::SourceTraits traits = {};
  if (!tvl::ReadTraits(source, &traits)) return CopyResult::kSourceFailed;
  if (traits.size >= kLeastCopiedPlain) return tvl::CopyFile(source, target_path, writing, times);
  CCore packed;
  CZlib zlib;
  if (zlib.CompressFile(source, packed) == 0) return CopyResult::kSourceFailed;
  tvl::TargetFile target(target_path, writing, &traits);
  if (!target.IsOpen()) return tvl::FailureOf(target);
  bool timed = true;
  if (!target.IsSource()) {
    if (zlib.DecompressFile(packed, target) == 0) return CopyResult::kTargetFailed;
    if (times == CopiedTimes::kAccessedAndWritten)
      timed = tvl::ReadTraits(source, &traits) && target.SetTimes(&traits.accessed, traits.written);
  }
  if (!target.Finish()) return tvl::FailureOf(target);
  return timed ? CopyResult::kCopied : CopyResult::kCopiedWithoutTimes;
}

CopyResult CopyPacked(const char* source, const char* target, const tvl::Writing& writing,
                      CopiedTimes times) {
  return tvl::CopyKeepingPart(CopyPackedOnce, source, target, writing, times);
}

// A plain name has no last component and never matches.
bool IsLastComponent(const char* path, const char* name) {
  const char* last = LastPathComponent(path);
  return last != nullptr && tvl::EqualNoCase(last, name);
}

// If the target belongs to another user, its times cannot be set. Then the source gets the times of the
// target, so that the next comparison by time finds them equal.
void EqualFileTimes(const char* source, const char* target) {
  const TimedFile from(source, GENERIC_READ);
  if (!from.IsOpen()) return;
  const TimedFile to(target, GENERIC_READ | FILE_WRITE_ATTRIBUTES);
  if (to.IsOpen() && !to.TakeTimesOf(from) && tvl::LastErrorCode() == EPERM) from.TakeTimesOf(to);
}

}  // namespace

int CTVLClientSmbOpr::State::CopyFailure() const {
  return opr.zipOnTransfert == 0 ? TVL_ERR_COPY : TVL_ERR_ZIP;
}

int CTVLClientSmbOpr::State::TargetFailure() const {
  return opr.zipOnTransfert == 0 ? TVL_ERR_COPY : TVL_ERR_UNZIP;
}

// Returns kAppeared, with nothing changed, if a new target is expected but the target exists.
int CTVLClientSmbOpr::State::Transfer(const char* source, const char* target, int equal_times,
                                      bool must_be_new) const {
  tvl::Writing writing = Writing(TargetFailure());
  writing.expects_new = must_be_new;
  const CopiedTimes times = equal_times != 0 ? CopiedTimes::kAccessedAndWritten : CopiedTimes::kWritten;
  const auto copy = opr.zipOnTransfert == 0 ? tvl::CopyFile : CopyPacked;
  const CopyResult result = copy(source, target, writing, times);
  if (result == CopyResult::kTargetAppeared) return kAppeared;
  if (result == CopyResult::kSourceFailed) return CopyFailure();
  if (!tvl::IsCopied(result)) return TargetFailure();
  if (equal_times != 0 && result == CopyResult::kCopiedWithoutTimes) EqualFileTimes(source, target);
  return TVL_OK;
}

int CTVLClientSmbOpr::GetRemote(char* remoteName, char* localName, int* transferred) {
  if (dumbMode == 1) return ExistsRemote(remoteName);
  const PathText store = tvl::JoinPath(state->serverRoot, remoteName);
  const PathText local = tvl::BuildFullPath(workingDirectory, localName);
  if (!store.Fits()) return state->CopyFailure();
  if (!local.Fits()) return state->TargetFailure();
  return state->TransferUnlessEqual(store.Text(), nullptr, local.Text(), workingDirectory, transferred);
}

int CTVLClientSmbOpr::PutRemote(char* remoteName, char* localName, int* transferred) {
  if (dumbMode == 1) return ExistsRemote(remoteName);
  const PathText store = tvl::BuildFullPath(state->serverRoot, remoteName);
  const PathText local = tvl::JoinPath(workingDirectory, localName);
  if (!local.Fits()) return state->CopyFailure();
  if (!store.Fits()) return state->TargetFailure();
  tvl::FileStatus status = {};
  const bool known = tvl::ReadFileStatus(local.Text(), &status);
  if (status.is_folder) return tvl::EnsureFolder(store.Text()) ? TVL_OK : TVL_ERR_SERVER_FILE;
  return state->TransferUnlessEqual(local.Text(), known ? &status : nullptr, store.Text(), state->serverRoot,
                                    transferred);
}

// Syncs the folders between `base` and a target, since they may be new and a file is safe on the disk only if
// its folders are. The folders of a group are synced with it.
bool CTVLClientSmbOpr::State::SyncFolders(const char* base, const char* target) const {
  const bool synced = Writing(0).safety == tvl::Safety::kSynced;
  return !synced || group != nullptr || tvl::SyncFoldersBetween(base, target);
}

// Shared by get and put. `status` is that of the source if it was just read, else null. `base` is the folder
// that the target's name is relative to.
int CTVLClientSmbOpr::State::TransferUnlessEqual(const char* source, const tvl::FileStatus* status,
                                                 const char* target, const char* base,
                                                 int* transferred) const {
  const bool is_new = *transferred == 0 && expects_new && opr.fileCmp != kCompareDumb;
  int code = is_new ? Transfer(source, target, 1, true) : kAppeared;
  if (code == kAppeared) {
    if (*transferred == 0 && FilesAreEqual(opr.fileCmp, source, status, target) != 0) return TVL_OK;
    code = Transfer(source, target, 1, false);
  }
  if (code != TVL_OK) return code;
  if (!SyncFolders(base, target)) return TargetFailure();
  *transferred = 1;
  return TVL_OK;
}

int CTVLClientSmbOpr::CopyRemoteFile2Dir(char* remoteName, char* localPath) {
  PathText store;
  store.Append(state->serverRoot).Append(remoteName);
  if (!store.Fits()) return state->CopyFailure();
  PathText target;
  target.Append(localPath);
  const char* name = LastPathComponent(store.Text());
  if (name == nullptr) return state->CopyFailure();
  if (!IsLastComponent(localPath, name)) {
    if (target.View().empty() || target.View().back() != '\\') target.Append("\\");
    target.Append(name);
  }
  if (!target.Fits()) return state->TargetFailure();
  NormalizeSlashes(store.Data());
  return state->Transfer(store.Text(), target.Text(), 1, false);
}

void CTVLClientSmbOpr::TransfersExpectNew(int expect) {
  state->expects_new = expect != 0;
}

int CTVLClientSmbOpr::ExistsRemote(char* remoteName) {
  const PathText store = tvl::JoinPath(state->serverRoot, remoteName);
  return store.Fits() && FileExists(store.Text()) != 0 ? TVL_OK : TVL_ERR_SERVER_FILE;
}

int CTVLClientSmbOpr::CompareRemote(char* remoteName, char* localName, int* equal) {
  const PathText store = tvl::JoinPath(state->serverRoot, remoteName);
  if (!store.Fits()) return TVL_ERR_SERVER_FILE;
  const PathText local = tvl::JoinPath(workingDirectory, localName);
  if (!local.Fits()) return TVL_ERR_LOCAL_FILE;
  *equal = FilesAreEqual(fileCmp, store.Text(), local.Text());
  return TVL_OK;
}
