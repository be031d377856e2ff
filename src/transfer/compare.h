#ifndef TVL_TRANSFER_COMPARE_H
#define TVL_TRANSFER_COMPARE_H

#include <cstdint>

// When two copies of a file count as equal: the compare policy, one number.

constexpr int kCompareDumb = 0;  // always, without a look at them
constexpr int kCompareHash = 1;  // same size and same SHA-1
constexpr int kCompareTime = 2;  // same size and same modification time in whole seconds

// 1 if the files count as equal. A file that can't be examined equals none unless the policy is dumb; one
// that can't be read has an empty signature. Any policy above 2 works like 2.
int FilesAreEqual(int policy, const char* fileA, const char* fileB);

// The policy by time, for two files that were examined already.
[[nodiscard]] constexpr bool EqualByTime(std::uint64_t sizeA, std::int64_t modifiedA, std::uint64_t sizeB,
                                         std::int64_t modifiedB) {
  return sizeA == sizeB && modifiedA == modifiedB;
}

// A text for a file's state: the size in hexadecimal, a bar, and the signature, or for policy 2 the low 32
// bits of the modification time in hexadecimal. "@" if the file can't be examined; nothing behind the bar if
// it can't be read. The text stands in a buffer of the calling thread until the next call.
char* FileStamp(int policy, const char* path);

#endif
