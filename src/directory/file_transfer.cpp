#include <cerrno>

#include "base/file_helpers.h"
#include "base/fixed_text.h"
#include "base/path_helpers.h"
#include "base/text.h"
#include "directory/state.h"
#include "platform/files.h"
#include "platform/last_error.h"
#include "transfer/compare.h"
#include "transfer/core.h"
#include "transfer/zlib_file.h"

namespace {

using tvl::PathText;

// An existing file, opened to look at its times or to set them.
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

  // Gives this file the three times of `other`.
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

// A bare name has no last component, and equals nothing.
bool IsLastComponent(const char* path, const char* name) {
  const char* last = LastPathComponent(path);
  return last != nullptr && tvl::EqualNoCase(last, name);
}

}  // namespace

int CTVLClientSmbOpr::CopyFailure() const {
  return zipOnTransfert == 0 ? TVL_ERR_COPY : TVL_ERR_ZIP;
}

int CTVLClientSmbOpr::TargetFailure() const {
  return zipOnTransfert == 0 ? TVL_ERR_COPY : TVL_ERR_UNZIP;
}

int CTVLClientSmbOpr::Transfer(const char* source, const char* target) {
  if (zipOnTransfert == 0) return CopyFileA(source, target, 0) != 0 ? TVL_OK : TVL_ERR_COPY;
  CCore packed;
  CZlib zlib;
  if (zlib.CompressFile(source, packed) == 0) return TVL_ERR_ZIP;
  // Unpacked over itself the file would be lost to a failed write.
  if (tvl::IsSameFile(source, target)) return TVL_OK;
  return zlib.DecompressFile(packed, target) != 0 ? TVL_OK : TVL_ERR_UNZIP;
}

// Where the target is another user's its times can't be set. The source then takes the target's, so that the
// two agree all the same and the next compare by time finds them equal.
void CTVLClientSmbOpr::EqualFileTimes(const char* source, const char* target) {
  const TimedFile from(source, GENERIC_READ);
  if (!from.IsOpen()) return;
  const TimedFile to(target, GENERIC_READ | FILE_WRITE_ATTRIBUTES);
  if (to.IsOpen() && !to.TakeTimesOf(from) && tvl::LastErrorCode() == EPERM) from.TakeTimesOf(to);
}

int CTVLClientSmbOpr::GetRemote(char* remoteName, char* localName, int* transferred) {
  if (dumbMode == 1) return ExistsRemote(remoteName);
  const PathText store = tvl::JoinPath(state->serverRoot, remoteName);
  const PathText local = tvl::BuildFullPath(workingDirectory, localName);
  if (!store.Fits()) return CopyFailure();
  if (!local.Fits()) return TargetFailure();
  return TransferUnlessEqual(store.Text(), local.Text(), transferred);
}

int CTVLClientSmbOpr::PutRemote(char* remoteName, char* localName, int* transferred) {
  if (dumbMode == 1) return ExistsRemote(remoteName);
  const PathText store = tvl::BuildFullPath(state->serverRoot, remoteName);
  const PathText local = tvl::JoinPath(workingDirectory, localName);
  if (!local.Fits()) return CopyFailure();
  if (!store.Fits()) return TargetFailure();
  if (IsDirectory(local.Text()) != 0) {
    CreateDirectoryA(store.Text(), nullptr);
    return IsDirectory(store.Text()) != 0 ? TVL_OK : TVL_ERR_SERVER_FILE;
  }
  return TransferUnlessEqual(local.Text(), store.Text(), transferred);
}

// The part that get and put have in common. Which side comes first makes no difference to the compare.
int CTVLClientSmbOpr::TransferUnlessEqual(const char* source, const char* target, int* transferred) {
  if (*transferred == 0 && FilesAreEqual(fileCmp, source, target) != 0) return TVL_OK;
  if (const int code = Transfer(source, target)) return code;
  *transferred = 1;
  EqualFileTimes(source, target);
  return TVL_OK;
}

int CTVLClientSmbOpr::CopyRemoteFile2Dir(char* remoteName, char* localPath) {
  PathText store;
  store.Append(state->serverRoot).Append(remoteName);
  if (!store.Fits()) return CopyFailure();
  PathText target;
  target.Append(localPath);
  const char* name = LastPathComponent(store.Text());
  if (name == nullptr) return CopyFailure();
  if (!IsLastComponent(localPath, name)) {
    if (target.View().empty() || target.View().back() != '\\') target.Append("\\");
    target.Append(name);
  }
  if (!target.Fits()) return TargetFailure();
  NormalizeSlashes(store.Data());
  if (const int code = Transfer(store.Text(), target.Text())) return code;
  EqualFileTimes(store.Text(), target.Text());
  return TVL_OK;
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
