#include "tcp/names.h"

#include <dlfcn.h>
#include <netdb.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

namespace {

bool nameless = false;

using LookUpFunction = int (*)(const char*, const char*, const addrinfo*, addrinfo**);

addrinfo** End(addrinfo** list) {
  while (*list != nullptr) list = &(*list)->ai_next;
  return list;
}

}  // namespace

NoNames::NoNames() {
  nameless = true;
}

NoNames::~NoNames() {
  nameless = false;
}

// These stand before the system's own in the search for symbols.

extern "C" int gethostname(char* name, size_t size) noexcept {
  constexpr char host[] = "A.example";
  if (nameless || size < sizeof host) return -1;
  std::memcpy(name, host, sizeof host);
  return 0;
}

extern "C" int getpwuid_r(uid_t /*user*/, passwd* entry, char* buffer, size_t size, passwd** result) {
  *result = nullptr;
  if (nameless || size < 2) return ENOENT;
  std::memcpy(buffer, "b", 2);
  entry->pw_name = buffer;
  *result = entry;
  return 0;
}

extern "C" int getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** found) {
  static const auto system = reinterpret_cast<LookUpFunction>(dlsym(RTLD_NEXT, "getaddrinfo"));
  if (host != nullptr && std::string_view(host) == "nowhere.test") return EAI_NONAME;
  if (host == nullptr || std::string_view(host) != "several.test") return system(host, service, hints, found);
  *found = nullptr;
  for (const char* address : {"127.0.0.9", "::1", "127.0.0.1"}) {
    if (const int problem = system(address, service, hints, End(found))) return problem;
  }
  return 0;
}
