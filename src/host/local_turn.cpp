#include "host/local_turn.h"

#include <fcntl.h>
#include <sys/file.h>
#include <time.h>

#include <cerrno>
#include <string>

#include "host/sync.h"

namespace tvl {
namespace {

constexpr timespec kPause = {0, 1'000'000};

}  // namespace

LocalTurn::LocalTurn(const char* path, std::chrono::milliseconds limit) {
  const std::string folder = FolderOf(path);
  constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
  if (!ForkGuard::OpenFor(folder_, [&] { return open(folder.c_str(), kFlags); })) return;
  const auto end = std::chrono::steady_clock::now() + limit;
  while (flock(folder_.descriptor, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) return;
    has_ = std::chrono::steady_clock::now() < end;
    if (!has_) return;
    nanosleep(&kPause, nullptr);
  }
}

LocalTurn::~LocalTurn() {
  if (folder_.descriptor >= 0) ForkGuard::Close(folder_);
}

}  // namespace tvl
