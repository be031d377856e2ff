#ifndef TVL_PLATFORM_POSIX_OPEN_FILE_H
#define TVL_PLATFORM_POSIX_OPEN_FILE_H

#include <sys/stat.h>

#include "host/descriptor.h"

namespace tvl {

// A regular file that is opened by the constructor and closed automatically. For the platform layer only.
//
// Records failures with the name of the file (last_error.h).
class OpenFile {
 public:
  // Whether to examine the path before opening it, because opening and closing a pipe would affect its other
  // end. Not needed if the caller has just examined it.
  enum class Look { kFirst, kDone };

  // `flags` are those of open(). A new file gets `mode` less the umask.
  OpenFile(const char* path, int flags, mode_t mode = 0666, Look look = Look::kFirst);

  [[nodiscard]] bool IsOpen() const { return file_.IsOpen(); }
  [[nodiscard]] int Descriptor() const { return file_.Get(); }
  [[nodiscard]] const struct stat& Status() const { return status_; }  // at the time of opening

  // For files that others replace often; see host/file_lock.h.
  void CloseWithoutDelay() const;

  [[nodiscard]] bool Truncate();

  // Closes the file. Returns false if earlier writes failed, which a network share may report only now.
  [[nodiscard]] bool Close();

  // Transfers the descriptor to the caller.
  [[nodiscard]] int Release() { return file_.Release(); }

  // Records the failure of the last system call with the name of this file.
  void NoteFailure() const;

 private:
  const char* path_;
  tvl::Descriptor file_;
  struct stat status_;
};

}  // namespace tvl

#endif
