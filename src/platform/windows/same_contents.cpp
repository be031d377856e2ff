#include "platform/same_contents.h"

#include <cerrno>
#include <cstring>

#include "platform/host_path.h"
#include "platform/windows/open_file.h"

namespace tvl {
namespace {

constexpr std::size_t kPiece = 64 * 1024;

}  // namespace

Contents CompareContents(const char* a, const char* b) {
  native::Status status = {};
  const int problem = native::StatusOf(HostPath(a).Text(), true, &status);
  if (problem == ENOENT) return Contents::kDifferent;
  if (problem == 0 && !status.is_folder) return CompareContents(a, status.size, b);
  return native::StatusOf(HostPath(b).Text(), true, &status) == ENOENT ? Contents::kDifferent
                                                                       : Contents::kUnknown;
}

Contents CompareContents(const char* a, std::uint64_t size, const char* b) {
  native::Status status = {};
  if (const int problem = native::StatusOf(HostPath(b).Text(), true, &status))
    return problem == ENOENT ? Contents::kDifferent : Contents::kUnknown;
  if (status.is_folder) return Contents::kUnknown;
  return status.size == size ? CompareSameSize(a, b) : Contents::kDifferent;
}

Contents CompareSameSize(const char* a, const char* b) {
  const OpenFile file_a(a, {});
  const OpenFile file_b(b, {});
  if (!file_a.IsOpen() || !file_b.IsOpen()) return Contents::kUnknown;
  if (file_a.Status().size != file_b.Status().size) return Contents::kDifferent;
  char piece_a[kPiece];
  char piece_b[kPiece];
  for (std::size_t read_a = 1, read_b = 1; read_a > 0;) {
    if (ReadAll(file_a.Get(), piece_a, kPiece, &read_a) != 0) return Contents::kUnknown;
    if (ReadAll(file_b.Get(), piece_b, kPiece, &read_b) != 0) return Contents::kUnknown;
    if (read_a != read_b || std::memcmp(piece_a, piece_b, read_a) != 0) return Contents::kDifferent;
  }
  return Contents::kSame;
}

}  // namespace tvl
