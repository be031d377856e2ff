#include "platform/names.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "host/fork_guard.h"
#include "host/random_id.h"
#include "platform/last_error.h"

namespace {

constexpr std::size_t kLongestComputerName = 15;

// Copies a name by the rules of both functions below.
BOOL CopyName(std::string_view name, char* buffer, DWORD* size) {
  if (name.size() >= *size) name = {};
  if (*size > 0) {
    name.copy(buffer, name.size());
    buffer[name.size()] = 0;
  }
  *size = static_cast<DWORD>(name.size());
  return name.empty() ? 0 : 1;
}

}  // namespace

BOOL GetComputerNameA(char* buffer, DWORD* size) {
  char host[256] = {};
  if (gethostname(host, sizeof host - 1) != 0) host[0] = 0;
  const std::string_view name = host;
  return CopyName(name.substr(0, std::min(name.find('.'), kLongestComputerName)), buffer, size);
}

BOOL GetUserNameA(char* buffer, DWORD* size) {
  passwd entry = {};
  passwd* found = nullptr;
  char texts[4096];
  const bool known = getpwuid_r(geteuid(), &entry, texts, sizeof texts, &found) == 0 && found != nullptr;
  return CopyName(known ? found->pw_name : "", buffer, size);
}

DWORD GetCurrentProcessId() {
  return static_cast<DWORD>(getpid());
}

std::string tvl::NewId() {
  std::string id = RandomId();
  if (id.empty()) NoteError(nullptr, errno);
  return id;
}

bool tvl::CallInForkedChild(void (*action)()) {
  return CallAroundForks(nullptr, nullptr, action) == 0;
}
