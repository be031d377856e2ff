#include "platform/names.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {

constexpr std::size_t kLongestComputerName = 15;

}  // namespace

BOOL GetComputerNameA(char* buffer, DWORD* size) {
  char host[256] = {};
  if (gethostname(host, sizeof host - 1) != 0) host[0] = 0;
  std::string_view name = host;
  name = name.substr(0, std::min(name.find('.'), kLongestComputerName));
  if (name.size() >= *size) name = {};
  if (*size > 0) {
    std::memcpy(buffer, name.data(), name.size());
    buffer[name.size()] = 0;
  }
  *size = static_cast<DWORD>(name.size());
  return name.empty() ? 0 : 1;
}
