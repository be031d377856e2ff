#include "cli/posix/health_module.h"

#include <httplib.h>

#include <algorithm>
#include <chrono>
#include <cstring>

extern "C" tvl::cli::PageFunction TvlFetchPage;

int TvlFetchPage(const char* origin, const char* path, long milliseconds, char* text, std::size_t size) {
  httplib::Client client(origin);
  if (!client.is_valid()) return -1;
  const std::chrono::milliseconds patience(milliseconds);
  client.set_connection_timeout(patience);
  client.set_read_timeout(patience);
  int status = 0;
  std::size_t used = 0;
  client.Get(
      path,
      [&](const httplib::Response& response) {
        status = response.status;
        return true;
      },
      [&](const char* data, std::size_t count) {
        const std::size_t taken = std::min(count, size - 1 - used);
        std::memcpy(text + used, data, taken);
        used += taken;
        return used < size - 1;
      });
  text[used] = '\0';
  return status;
}
