#include "platform/same_contents.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "host/system_calls.h"
#include "platform/host_path.h"
#include "platform/posix/open_file.h"

namespace tvl {
namespace {

constexpr std::size_t kPiece = 64 * 1024;

// Reads a file piece by piece. Needs no extra call to find the end of a file with a known size.
class Reader {
 public:
  explicit Reader(const OpenFile& file) : file_(file) {}

  // Reads the next piece, which is full unless the file ends. Returns false on failure.
  [[nodiscard]] bool Next() {
    filled_ = 0;
    while (filled_ < kPiece && !IsAtEnd()) {
      const ssize_t count = System().read(file_.Descriptor(), piece_ + filled_, kPiece - filled_);
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) return false;
      ended_ = count == 0;
      filled_ += static_cast<std::size_t>(count);
      read_ += count;
    }
    return true;
  }

  [[nodiscard]] bool SameAs(const Reader& other) const {
    return filled_ == other.filled_ && std::memcmp(piece_, other.piece_, filled_) == 0;
  }
  [[nodiscard]] bool IsAtEnd() const { return ended_ || (read_ > 0 && read_ == file_.Status().st_size); }

 private:
  const OpenFile& file_;
  off_t read_ = 0;
  bool ended_ = false;
  std::size_t filled_ = 0;
  char piece_[kPiece];
};

// Examines both files before one is opened: if their sizes differ, or one is missing, nothing has to be
// opened. Returns false if this fails for another reason.
bool DifferAtALook(const char* a, const char* b, bool* different) {
  struct stat status_a = {};
  struct stat status_b = {};
  *different = true;
  if (System().stat(HostPath(b).Text(), &status_b) != 0) return errno == ENOENT;
  if (System().stat(HostPath(a).Text(), &status_a) != 0) return errno == ENOENT;
  if (!S_ISREG(status_a.st_mode) || !S_ISREG(status_b.st_mode)) return false;
  *different = status_a.st_size != status_b.st_size;
  return true;
}

}  // namespace

Contents CompareContents(const char* a, const char* b) {
  bool different = false;
  if (!DifferAtALook(a, b, &different)) return Contents::kUnknown;
  if (different) return Contents::kDifferent;
  const OpenFile fileA(a, O_RDONLY, 0, OpenFile::Look::kDone);
  const OpenFile fileB(b, O_RDONLY, 0, OpenFile::Look::kDone);
  if (!fileA.IsOpen() || !fileB.IsOpen()) return Contents::kUnknown;
  if (fileA.Status().st_size != fileB.Status().st_size) return Contents::kDifferent;
  Reader readerA(fileA);
  Reader readerB(fileB);
  while (!readerA.IsAtEnd() || !readerB.IsAtEnd()) {
    if (!readerA.Next() || !readerB.Next()) return Contents::kUnknown;
    if (!readerA.SameAs(readerB)) return Contents::kDifferent;
  }
  return Contents::kSame;
}

}  // namespace tvl
