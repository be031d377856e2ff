#include "store/backup/small_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "host/descriptor.h"
#include "host/read_all.h"
#include "host/system_calls.h"
#include "host/write_all.h"

namespace tvl {

int ReadSmallFile(const std::string& path, SmallFile& file) {
  const Descriptor opened(System().open(path.c_str(), O_RDONLY | O_CLOEXEC, 0));
  struct stat status = {};
  if (!opened.IsOpen() || System().fstat(opened.Get(), &status) != 0) return errno;
  file.mode = status.st_mode & 0777U;
  return ReadAll(opened.Get(), file.contents, kLargestSmallFile);
}

int CreateSmallFile(const std::string& path, const SmallFile& file, CreateStep& step) {
  step = CreateStep::kCreate;
  Descriptor created(System().open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!created.IsOpen()) return errno;
  step = CreateStep::kWrite;
  int problem = WriteAll(created.Get(), file.contents.data(), file.contents.size());
  if (problem == 0 && System().fchmod(created.Get(), file.mode & 0777U) != 0) problem = errno;
  if (const int closing = created.Close(); problem == 0) problem = closing;
  return problem;
}

}  // namespace tvl
