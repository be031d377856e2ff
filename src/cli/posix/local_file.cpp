#include "cli/local_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "host/descriptor.h"
#include "host/system_calls.h"
#include "host/write_all.h"

namespace tvl::cli {
namespace {

int Load(int descriptor, std::size_t most, LoadedFile& file) {
  struct stat status = {};
  if (System().fstat(descriptor, &status) != 0) return errno;
  file = {{}, S_ISREG(status.st_mode)};
  std::array<char, 65536> piece = {};
  for (;;) {
    const ssize_t count = System().read(descriptor, piece.data(), piece.size());
    if (count == 0) return 0;
    if (count < 0 && errno != EINTR) return errno;
    if (count > 0) file.text.append(piece.data(), static_cast<std::size_t>(count));
    if (file.text.size() > most) return EFBIG;
  }
}

int OpenProblem(const std::string& path) {
  const Descriptor file(System().open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0));
  return file.IsOpen() ? 0 : errno;
}

constexpr int kModes[] = {R_OK, W_OK, R_OK | W_OK, W_OK | X_OK};  // by Access

}  // namespace

int LoadFile(const std::string& path, Pipe pipe, std::size_t most, LoadedFile& file) {
  const int flags = O_RDONLY | O_CLOEXEC | (pipe == Pipe::kWait ? 0 : O_NONBLOCK | O_NOCTTY);
  const Descriptor opened(System().open(path.c_str(), flags, 0));
  return opened.IsOpen() ? Load(opened.Get(), most, file) : errno;
}

int LoadStandardInput(std::size_t most, LoadedFile& file) {
  return Load(STDIN_FILENO, most, file);
}

int SaveNewFile(const std::string& path, const std::string& text) {
  Descriptor opened(System().open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
  if (!opened.IsOpen()) return errno;
  if (const int problem = WriteAll(opened.Get(), text.data(), text.size())) return problem;
  return System().fsync(opened.Get()) == 0 ? opened.Close() : errno;
}

int ReplaceFileBy(const std::string& part, const std::string& path) {
  return System().rename(part.c_str(), path.c_str()) == 0 ? 0 : errno;
}

int RemoveLocalFile(const std::string& path) {
  return System().unlink(path.c_str()) == 0 ? 0 : errno;
}

int MakeLocalFolder(const std::string& path) {
  return System().mkdir(path.c_str(), 0777) == 0 ? 0 : errno;
}

int AccessProblem(const std::string& path, Access access) {
  if (access == Access::kRead) return OpenProblem(path);
  return System().access(path.c_str(), kModes[static_cast<std::size_t>(access)]) == 0 ? 0 : errno;
}

}  // namespace tvl::cli
