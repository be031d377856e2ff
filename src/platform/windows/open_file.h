#ifndef TVL_PLATFORM_WINDOWS_OPEN_FILE_H
#define TVL_PLATFORM_WINDOWS_OPEN_FILE_H

#include <utility>

#include "platform/windows/native.h"

namespace tvl {

// An open file that this object closes. Records failures with the name of the file (last_error.h).
class OpenFile {
 public:
  OpenFile(const char* path, const native::Opening& opening);
  ~OpenFile() {
    if (IsOpen()) native::Close(file_);
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  [[nodiscard]] bool IsOpen() const { return file_ != native::kNoHandle; }
  [[nodiscard]] native::Handle Get() const { return file_; }
  // Returns 0, or why the file could not be opened.
  [[nodiscard]] int Problem() const { return problem_; }
  [[nodiscard]] const native::Status& Status() const { return status_; }  // at the time of opening

  // Returns 0 or an errno value.
  [[nodiscard]] int Close() { return native::Close(Release()); }

  // Transfers the handle to the caller.
  [[nodiscard]] native::Handle Release() { return std::exchange(file_, native::kNoHandle); }

 private:
  native::Handle file_ = native::kNoHandle;
  native::Status status_ = {};
  int problem_;
};

// Writes all bytes. Returns 0 or an errno value.
[[nodiscard]] int WriteAll(native::Handle file, const void* bytes, std::size_t count);

// Reads until the buffer is full or the file ends. Returns 0 or an errno value.
[[nodiscard]] int ReadAll(native::Handle file, void* buffer, std::size_t count, std::size_t* done);

}  // namespace tvl

#endif
