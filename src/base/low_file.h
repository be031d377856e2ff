#ifndef TVL_BASE_LOW_FILE_H
#define TVL_BASE_LOW_FILE_H

#include <utility>

#include "platform/files.h"

// A thin layer over the platform's handles that spares callers its flags.

constexpr int kLowWriteOnly = 0x001;  // either of the first two: reading and writing
constexpr int kLowReadWrite = 0x002;
constexpr int kLowAppend = 0x008;    // the position is the end
constexpr int kLowCreate = 0x100;    // a missing file is created
constexpr int kLowTruncate = 0x200;  // the file is created, or emptied if it exists
constexpr int kLowRewrite = kLowReadWrite | kLowCreate | kLowTruncate;

constexpr unsigned int kLowFailed = 0xFFFFFFFF;  // result of LowRead and LowWrite

// The handle, or INVALID_HANDLE_VALUE.
HANDLE LowOpen(const char* path, int flags);

// Not 0 on success; 0 may be the only sign that earlier writes were lost.
BOOL LowClose(HANDLE file);

// Bytes read, 0 at the end of the file, or kLowFailed.
unsigned int LowRead(HANDLE file, void* buffer, unsigned int count);

// Bytes written, or kLowFailed.
unsigned int LowWrite(HANDLE file, void* buffer, unsigned int count);

// Begins (`hold` 1) or ends (0) the hold on a marker file, which keeps everybody from deleting it until the
// holder is gone. `reserved` is 0. Always 1, whatever the handle: a caller that needs to know whether the
// hold was taken asks tvl::HoldFile.
int LowLock(HANDLE file, int hold, int reserved);

namespace tvl {

// A low file that closes itself.
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

  // Closes the file. True if all that was written has arrived.
  [[nodiscard]] bool Close() { return LowClose(std::exchange(file_, INVALID_HANDLE_VALUE)) != 0; }

 private:
  HANDLE file_;
};

}  // namespace tvl

#endif
