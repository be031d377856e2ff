#ifndef TVL_TESTS_PRESENCE_HELD_MARKER_H
#define TVL_TESTS_PRESENCE_HELD_MARKER_H

#include <string>

#include "base/low_file.h"

// A marker as a live instance keeps it.
class HeldMarker {
 public:
  explicit HeldMarker(const std::string& path) : file_(LowOpen(path.c_str(), kLowRewrite)) {
    LowLock(file_, 1, 0);
  }
  HeldMarker(const HeldMarker&) = delete;
  HeldMarker& operator=(const HeldMarker&) = delete;
  ~HeldMarker() {
    LowLock(file_, 0, 0);
    LowClose(file_);
  }

 private:
  HANDLE file_;
};

#endif
