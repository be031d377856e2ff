#ifndef TVL_CLIENT_PROGRESS_H
#define TVL_CLIENT_PROGRESS_H

#include <tvlclient/client_opr.h>

#include "base/fixed_text.h"

namespace tvl {

// What a walk reports: by default, each file or folder that it reaches to the caller's callback.
class Progress {
 public:
  Progress(ProgressCallback callback, void* user_data) : callback_(callback), user_data_(user_data) {}
  virtual ~Progress() = default;
  Progress(const Progress&) = default;
  Progress& operator=(const Progress&) = default;

  [[nodiscard]] virtual bool IsWanted() const { return callback_ != nullptr; }

  // `size` is the low 32 bits of the size of the file.
  virtual void ReportFile(const PathText& path, int size) const { Report(path, size); }
  virtual void ReportFolder(const PathText& path) const { Report(path, 0); }

  // A file or folder that could not be copied. The reason is the last recorded error, if there is one.
  virtual void ReportFailure(const PathText& path) const { static_cast<void>(path); }

 protected:
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
