#include "tcp/system.h"

#include <dlfcn.h>
#include <netdb.h>
#include <pwd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>

constinit thread_local bool lacks_names = false;
constinit thread_local bool lacks_memory = false;

// These functions precede those of the system in the symbol lookup.

extern "C" int gethostname(char* name, size_t size) noexcept {
  constexpr char host[] = "A.example";
  if (lacks_names || size < sizeof host) return -1;
  std::memcpy(name, host, sizeof host);
  return 0;
}

extern "C" int getpwuid_r(uid_t /*user*/, passwd* entry, char* buffer, size_t size, passwd** result) {
  *result = nullptr;
  if (lacks_names || size < 2) return ENOENT;
  std::memcpy(buffer, "b", 2);
  entry->pw_name = buffer;
  *result = entry;
  return 0;
}

extern "C" int getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** found) {
  static const auto system = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  const std::string_view name = host;
  if (name == "nowhere.test") return EAI_NONAME;
  if (name != "several.test") return system(host, service, hints, found);
  for (const char* address : {"255.255.255.255", "127.0.0.9", "::1", "127.0.0.1"}) {
    if (const int problem = system(address, service, hints, found)) return problem;
    while (*found != nullptr) found = &(*found)->ai_next;
  }
  return 0;
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return lacks_memory ? nullptr : std::malloc(size);
}

void* operator new(std::size_t size) {
  if (void* block = operator new(size, std::nothrow)) return block;
  throw std::bad_alloc();
}

void operator delete(void* block) noexcept {
  std::free(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept {
  std::free(block);
}
