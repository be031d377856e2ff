#ifndef TVL_TRANSFER_COMPARE_H
#define TVL_TRANSFER_COMPARE_H

#include <cstdint>

#include "platform/files.h"

// Compare policies, which decide whether two copies of a file count as equal.

constexpr int kCompareDumb = 0;  // always equal, without examining them
constexpr int kCompareHash = 1;  // same size and same SHA-1
constexpr int kCompareTime = 2;  // same size and same modification time in whole seconds

// Returns 1 if the files count as equal, else 0. A file that cannot be examined is not equal to any other,
// unless the policy is dumb. An unreadable file has an empty signature. Policies above 2 work like 2.
int FilesAreEqual(int policy, const char* fileA, const char* fileB);

// The same with the status of the first file, if that was just read; else null.
int FilesAreEqual(int policy, const char* fileA, const tvl::FileStatus* status_a, const char* fileB);

// Returns true if two files of the same size have the same contents. Both were just examined.
[[nodiscard]] bool SameSizeFilesAreEqual(const char* fileA, const char* fileB);

// Applies the policy by time to two files that were already examined.
[[nodiscard]] constexpr bool EqualByTime(std::uint64_t size_a, std::int64_t modified_a, std::uint64_t size_b,
                                         std::int64_t modified_b) {
  return size_a == size_b && modified_a == modified_b;
}

// Returns a text that describes the state of a file: the size in hexadecimal, a bar, and the signature, or
// for policy 2 the low 32 bits of the modification time in hexadecimal. Returns "@" if the file cannot be
// examined, and a text that ends in the bar if it cannot be read. The text is valid until the next call by
// the same thread.
char* FileStamp(int policy, const char* path);

#endif
