#include "server/wire/open_files.h"

#include <sys/resource.h>

#include <algorithm>

namespace tvl::server {
namespace {

// Connection, marker, and either the file of a get, or part and folder of a put.
constexpr std::size_t kPerClient = 4;

// Listeners, pools, lock table, notes, and connections that are new or refused.
constexpr std::size_t kOtherFiles = 160;

}  // namespace

std::size_t MakeRoomForClients(std::size_t wanted, std::size_t others) {
  rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return wanted;
  if (limit.rlim_cur < limit.rlim_max) {
    const rlimit raised = {limit.rlim_max, limit.rlim_max};
    if (setrlimit(RLIMIT_NOFILE, &raised) == 0) limit = raised;
  }
  if (limit.rlim_cur == RLIM_INFINITY) return wanted;
  const std::size_t files = limit.rlim_cur;
  const std::size_t taken = kOtherFiles + others;
  const std::size_t fitting = files <= taken ? 1 : (files - taken) / kPerClient;
  return std::clamp<std::size_t>(fitting, 1, wanted);
}

}  // namespace tvl::server
