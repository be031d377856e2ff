#include "transfer/compare.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "platform/same_contents.h"
#include "transfer/sha1.h"

namespace {

constexpr unsigned int kStampSize = 64;

// Trivially destructible, so that it is still valid for code that runs while the process exits.
constinit thread_local char stamp[kStampSize] = {};

bool SameSignature(const char* fileA, const char* fileB) {
  char signature_a[kSignatureSize];
  char signature_b[kSignatureSize];
  Sha1OfFile(fileA, signature_a);
  Sha1OfFile(fileB, signature_b);
  return std::strcmp(signature_a, signature_b) == 0;
}

}  // namespace

int FilesAreEqual(int policy, const char* fileA, const char* fileB) {
  return FilesAreEqual(policy, fileA, nullptr, fileB);
}

int FilesAreEqual(int policy, const char* fileA, const tvl::FileStatus* status_a, const char* fileB) {
  if (policy == kCompareDumb) return 1;
  if (policy == kCompareHash) {
    // Both files are local, so comparing their bytes is faster than comparing their signatures.
    const bool known = status_a != nullptr && status_a->is_file;
    const tvl::Contents contents =
        known ? tvl::CompareContents(fileA, status_a->size, fileB) : tvl::CompareContents(fileA, fileB);
    if (contents != tvl::Contents::kUnknown) return contents == tvl::Contents::kSame ? 1 : 0;
  }
  tvl::FileStatus a = {};
  tvl::FileStatus b = {};
  if (status_a != nullptr) a = *status_a;
  if (status_a == nullptr && !tvl::ReadFileStatus(fileA, &a)) return 0;
  if (!tvl::ReadFileStatus(fileB, &b)) return 0;
  const bool equal = policy == kCompareHash ? a.size == b.size && SameSignature(fileA, fileB)
                                            : EqualByTime(a.size, a.modified, b.size, b.modified);
  return equal ? 1 : 0;
}

bool SameSizeFilesAreEqual(const char* fileA, const char* fileB) {
  const tvl::Contents contents = tvl::CompareSameSize(fileA, fileB);
  if (contents == tvl::Contents::kUnknown) return FilesAreEqual(kCompareHash, fileA, fileB) != 0;
  return contents == tvl::Contents::kSame;
}

char* FileStamp(int policy, const char* path) {
  std::memcpy(stamp, "@", 2);
  tvl::FileStatus status = {};
  if (!tvl::ReadFileStatus(path, &status)) return stamp;
  const int bar = std::snprintf(stamp, kStampSize, "%" PRIx64 "|", status.size);
  char* signature = stamp + bar;
  if (policy == kCompareTime) {
    std::snprintf(signature, kStampSize - static_cast<unsigned int>(bar), "%" PRIx32,
                  static_cast<std::uint32_t>(status.modified));
  } else {
    Sha1OfFile(path, signature);
  }
  return stamp;
}
