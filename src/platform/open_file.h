#ifndef TVL_PLATFORM_OPEN_FILE_H
#define TVL_PLATFORM_OPEN_FILE_H

#include <sys/stat.h>

namespace tvl {

// A regular file that this object opened and closes; inside the platform layer only.
//
// A failure is noted with the file's name (last_error.h).
class OpenFile {
 public:
  // The path is looked at before it is opened, because opening a pipe and closing it again would be noticed
  // at its other end. A caller that has just looked says so.
  enum class Look { kFirst, kDone };

  // `flags` as for open(); a file that is created has `mode` less the umask.
  OpenFile(const char* path, int flags, mode_t mode = 0666, Look look = Look::kFirst);
  ~OpenFile();
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  [[nodiscard]] bool IsOpen() const { return descriptor_ >= 0; }
  [[nodiscard]] int Descriptor() const { return descriptor_; }
  [[nodiscard]] const struct stat& Status() const { return status_; }  // as found when it was opened

  [[nodiscard]] bool Truncate();

  // Closes and tells whether all that was written arrived: a network share may say so only now.
  [[nodiscard]] bool Close();

  // Gives the descriptor to the caller.
  [[nodiscard]] int Release();

  // Notes the failure of the last system call under this file's name.
  void NoteFailure() const;

 private:
  const char* path_;
  int descriptor_;
  struct stat status_;
};

}  // namespace tvl

#endif
