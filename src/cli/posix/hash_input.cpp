#include "cli/hash_input.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "host/descriptor.h"
#include "host/system_calls.h"

namespace tvl::cli {
namespace {

constexpr std::size_t kLongestPath = 259;

int Refusal(const struct stat& status) {
  if (S_ISREG(status.st_mode)) return 0;
  return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
}

}  // namespace

struct HashInput::Opened {
  Descriptor file;
};

// Checks the type before it opens the file: opening and closing a pipe would kill a writer that waits there.
HashInput::HashInput(const std::string& name) : opened_(std::make_unique<Opened>()), path_(name) {
  struct stat status = {};
  problem_ = System().stat(name.c_str(), &status) == 0 ? Refusal(status) : errno;
  if (problem_ != 0) return;
  opened_->file = Descriptor(System().open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK, 0));
  const int file = opened_->file.Get();
  problem_ = opened_->file.IsOpen() && System().fstat(file, &status) == 0 ? Refusal(status) : errno;
  if (problem_ != 0) return;
  size_ = status.st_size;
  // The library takes a backslash for a separator.
  if (name.find('\\') != std::string::npos || name.size() > kLongestPath)
    path_ = "/proc/self/fd/" + std::to_string(file);
}

HashInput::~HashInput() = default;

}  // namespace tvl::cli
