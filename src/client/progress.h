#ifndef TVL_CLIENT_PROGRESS_H
#define TVL_CLIENT_PROGRESS_H

#include <tvlclient/client_opr.h>

#include "base/fixed_text.h"

namespace tvl {

// The caller's callback, which a walk calls for each file or folder that it reaches.
class Progress {
 public:
  Progress(ProgressCallback callback, void* user_data) : callback_(callback), user_data_(user_data) {}

  [[nodiscard]] bool IsWanted() const { return callback_ != nullptr; }

  void Report(const PathText& path, int size) const {
    if (!IsWanted()) return;
    PathText copy = path;  // callbacks take a writable text
    callback_(copy.Data(), static_cast<unsigned int>(size), user_data_);
  }

 private:
  ProgressCallback callback_;
  void* user_data_;
};

}  // namespace tvl

#endif
