#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "platform/files.h"
#include "platform/held_file.h"
#include "platform/last_error.h"
#include "platform/open_file.h"
#include "platform/system_calls.h"

// Copying by the fastest means at hand: shared blocks where the file system has them, a copy inside the
// kernel (or, on some network shares, inside the server), else a loop over a buffer. Small files go through
// the buffer at once: two calls copy them whole.

namespace tvl {
namespace {

constexpr std::size_t kBuffer = 128 * 1024;
constexpr std::size_t kKernelChunk = std::size_t{1} << 30;

bool IsSameFile(const OpenFile& a, const OpenFile& b) {
  return a.Status().st_dev == b.Status().st_dev && a.Status().st_ino == b.Status().st_ino;
}

// Failing now, before the target is cut, keeps its old contents when the new ones would not fit. File systems
// that can't reserve room find out while they write.
bool HasRoomFor(const OpenFile& source, const OpenFile& target) {
  const off_t size = source.Status().st_size;
  if (target.Status().st_size == 0 || size <= target.Status().st_size) return true;
  if (System().fallocate(target.Descriptor(), FALLOC_FL_KEEP_SIZE, 0, size) == 0) return true;
  const int problem = errno;
  if (problem != ENOSPC && problem != EDQUOT && problem != EFBIG) return true;
  // Some file systems keep what they could reserve, out of sight behind the end, and the disk stays full.
  System().ftruncate(target.Descriptor(), target.Status().st_size);
  errno = problem;
  return false;
}

bool PrepareTarget(const OpenFile& source, OpenFile& target) {
  if (IsHeld(target.Descriptor())) {
    errno = EBUSY;
    target.NoteFailure();
    return false;
  }
  if (!HasRoomFor(source, target)) {
    target.NoteFailure();
    return false;
  }
  return target.Status().st_size == 0 || target.Truncate();
}

bool WriteAll(const OpenFile& target, const char* bytes, std::size_t count) {
  while (count > 0) {
    const ssize_t written = System().write(target.Descriptor(), bytes, count);
    if (written < 0 && errno != EINTR) {
      target.NoteFailure();
      return false;
    }
    if (written <= 0) continue;
    bytes += written;
    count -= static_cast<std::size_t>(written);
  }
  return true;
}

bool CopyThroughBuffer(const OpenFile& source, const OpenFile& target) {
  char buffer[kBuffer];
  for (;;) {
    const ssize_t count = System().read(source.Descriptor(), buffer, sizeof buffer);
    if (count == 0) return true;
    if (count < 0) {
      if (errno == EINTR) continue;
      source.NoteFailure();
      return false;
    }
    if (!WriteAll(target, buffer, static_cast<std::size_t>(count))) return false;
  }
}

enum class KernelCopy { kDone, kFailed, kNotOffered };

KernelCopy CopyInKernel(const OpenFile& source, const OpenFile& target) {
  if (System().clone(target.Descriptor(), source.Descriptor()) == 0) return KernelCopy::kDone;
  for (;;) {
    const ssize_t count = System().copy_file_range(source.Descriptor(), target.Descriptor(), kKernelChunk);
    if (count > 0) continue;
    // Some network shares say 0 before the end; the buffer finds out at the cost of one read.
    if (count == 0) return KernelCopy::kNotOffered;
    if (errno == EINTR) continue;
    // Both descriptors stand where the kernel stopped, so the buffer can take over, unless the target is
    // full.
    if (errno != ENOSPC && errno != EDQUOT && errno != EFBIG && errno != EIO) return KernelCopy::kNotOffered;
    target.NoteFailure();
    return KernelCopy::kFailed;
  }
}

bool CopyContents(const OpenFile& source, const OpenFile& target) {
  if (source.Status().st_size > static_cast<off_t>(kBuffer)) {
    const KernelCopy result = CopyInKernel(source, target);
    if (result != KernelCopy::kNotOffered) return result == KernelCopy::kDone;
  }
  return CopyThroughBuffer(source, target);
}

// Refused where the target is another user's, which then keeps the time of the writing.
void CopyModificationTime(const OpenFile& source, const OpenFile& target) {
  const timespec times[2] = {{0, UTIME_OMIT}, source.Status().st_mtim};
  System().futimens(target.Descriptor(), times);
}

bool Copy(const char* source_path, const char* target_path, bool fail_if_exists) {
  const OpenFile source(source_path, O_RDONLY);
  if (!source.IsOpen()) return false;
  // Who may read the copy is the umask's affair, as for any new file; that it can be run stays.
  const mode_t mode = 0666 | (source.Status().st_mode & 0111);
  OpenFile target(target_path, O_WRONLY | O_CREAT | (fail_if_exists ? O_EXCL : 0), mode);
  if (!target.IsOpen()) return false;
  if (IsSameFile(source, target)) return true;
  if (!PrepareTarget(source, target) || !CopyContents(source, target)) return false;
  CopyModificationTime(source, target);
  return target.Close();
}

}  // namespace
}  // namespace tvl

BOOL CopyFileA(const char* source, const char* target, BOOL failIfExists) {
  return tvl::Copy(source, target, failIfExists != 0) ? 1 : 0;
}
