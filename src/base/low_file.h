#ifndef TVL_BASE_LOW_FILE_H
#define TVL_BASE_LOW_FILE_H

#include <utility>

#include "platform/files.h"

// A thin layer over the platform's handles with simpler flags.

constexpr int kLowWriteOnly = 0x001;  // both of the first two mean reading and writing
constexpr int kLowReadWrite = 0x002;
constexpr int kLowAppend = 0x008;    // start at the end
constexpr int kLowCreate = 0x100;    // create a missing file
constexpr int kLowTruncate = 0x200;  // create the file, or truncate an existing one
constexpr int kLowRewrite = kLowReadWrite | kLowCreate | kLowTruncate;

constexpr unsigned int kLowFailed = 0xFFFFFFFF;  // result of LowRead and LowWrite

// Returns a handle, or INVALID_HANDLE_VALUE.
HANDLE LowOpen(const char* path, int flags);

// Returns nonzero on success. 0 may be the only sign that earlier writes were lost.
BOOL LowClose(HANDLE file);

// Returns the number of bytes read, 0 at the end of the file, or kLowFailed.
unsigned int LowRead(HANDLE file, void* buffer, unsigned int count);

// Returns the number of bytes written, or kLowFailed.
unsigned int LowWrite(HANDLE file, void* buffer, unsigned int count);

// Holds a marker file (`hold` 1), so that nobody can delete it while this process lives, or releases it (0).
// `reserved` is 0. Always returns 1; a caller that needs the result calls tvl::HoldFile.
int LowLock(HANDLE file, int hold, int reserved);

namespace tvl {

// A low-level file that is closed automatically.
class LowFile {
 public:
  LowFile(const char* path, int flags) : file_(LowOpen(path, flags)) {}
  ~LowFile() {
    if (IsOpen()) LowClose(file_);
  }
  LowFile(const LowFile&) = delete;
  LowFile& operator=(const LowFile&) = delete;

  [[nodiscard]] bool IsOpen() const { return file_ != INVALID_HANDLE_VALUE; }
  [[nodiscard]] HANDLE Handle() const { return file_; }

  // Closes the file. Returns true if no earlier write failed.
  [[nodiscard]] bool Close() { return LowClose(std::exchange(file_, INVALID_HANDLE_VALUE)) != 0; }

 private:
  HANDLE file_;
};

}  // namespace tvl

#endif
