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

// Finds the size of a regular file without opening it. Returns false if that settles the comparison: a
// missing file is different, and one that cannot be compared is unknown.
bool FindSize(const char* path, off_t* size, Contents* result) {
  struct stat status = {};
  *result = Contents::kUnknown;
  if (System().stat(HostPath(path).Text(), &status) != 0) {
    if (errno == ENOENT) *result = Contents::kDifferent;
    return false;
  }
  *size = status.st_size;
  return S_ISREG(status.st_mode);
}

}  // namespace

// Examines both files before one is opened: if their sizes differ, or one is missing, nothing has to be
// opened.
Contents CompareContents(const char* a, const char* b) {
  Contents result = Contents::kUnknown;
  off_t size_a = 0;
  off_t size_b = 0;
  const bool has_b = FindSize(b, &size_b, &result);
  if (!has_b && result == Contents::kDifferent) return result;
  if (!FindSize(a, &size_a, &result) || !has_b) return result;
  return size_a == size_b ? CompareSameSize(a, b) : Contents::kDifferent;
}

Contents CompareContents(const char* a, std::uint64_t size, const char* b) {
  Contents result = Contents::kUnknown;
  off_t size_b = 0;
  if (!FindSize(b, &size_b, &result)) return result;
  return size == static_cast<std::uint64_t>(size_b) ? CompareSameSize(a, b) : Contents::kDifferent;
}

Contents CompareSameSize(const char* a, const char* b) {
  const OpenFile fileA(a, O_RDONLY, 0, OpenFile::Look::kDone);
  const OpenFile fileB(b, O_RDONLY, 0, OpenFile::Look::kDone);
  if (!fileA.IsOpen() || !fileB.IsOpen()) return Contents::kUnknown;
  if (fileA.Status().st_size != fileB.Status().st_size) return Contents::kDifferent;
  Reader reader_a(fileA);
  Reader reader_b(fileB);
  while (!reader_a.IsAtEnd() || !reader_b.IsAtEnd()) {
    if (!reader_a.Next() || !reader_b.Next()) return Contents::kUnknown;
    if (!reader_a.SameAs(reader_b)) return Contents::kDifferent;
  }
  return Contents::kSame;
}

}  // namespace tvl
