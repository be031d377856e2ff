#ifndef TVL_CLI_WINDOWS_HANDLE_H
#define TVL_CLI_WINDOWS_HANDLE_H

#include <windows.h>

namespace tvl::cli {

// A handle of the system that this object closes.
class Handle {
 public:
  explicit Handle(HANDLE handle = nullptr) : handle_(handle) {}
  ~Handle() {
    if (IsOpen()) CloseHandle(handle_);
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;

  [[nodiscard]] bool IsOpen() const { return handle_ != nullptr && handle_ != INVALID_HANDLE_VALUE; }
  [[nodiscard]] HANDLE Get() const { return handle_; }

 private:
  HANDLE handle_;
};

}  // namespace tvl::cli

#endif
