#include "tcp/system.h"

#include <dlfcn.h>
#include <netdb.h>
#include <pthread.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>

namespace {

constinit thread_local bool lacks[3] = {};

bool& Lacks(Lack what) {
  return lacks[static_cast<int>(what)];
}

using LookUpFunction = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
using ForkHandler = void (*)();
using RegisterFunction = int (*)(ForkHandler, ForkHandler, ForkHandler, void*);

void* Allocate(std::size_t size) {
  return Lacks(Lack::kMemory) ? nullptr : std::malloc(size);
}

addrinfo** End(addrinfo** list) {
  while (*list != nullptr) list = &(*list)->ai_next;
  return list;
}

}  // namespace

Without::Without(Lack what) : what_(what) {
  Lacks(what_) = true;
}

Without::~Without() {
  Lacks(what_) = false;
}

// These stand before the system's own in the search for symbols.

extern "C" int gethostname(char* name, size_t size) noexcept {
  constexpr char host[] = "A.example";
  if (Lacks(Lack::kNames) || size < sizeof host) return -1;
  std::memcpy(name, host, sizeof host);
  return 0;
}

extern "C" int getpwuid_r(uid_t /*user*/, passwd* entry, char* buffer, size_t size, passwd** result) {
  *result = nullptr;
  if (Lacks(Lack::kNames) || size < 2) return ENOENT;
  std::memcpy(buffer, "b", 2);
  entry->pw_name = buffer;
  *result = entry;
  return 0;
}

extern "C" int getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** found) {
  static const auto system = reinterpret_cast<LookUpFunction>(dlsym(RTLD_NEXT, "getaddrinfo"));
  const std::string_view name = host != nullptr ? host : "";
  if (name == "nowhere.test") return EAI_NONAME;
  if (name == "unreachable.test") return system("255.255.255.255", service, hints, found);
  if (name != "several.test") return system(host, service, hints, found);
  *found = nullptr;
  for (const char* address : {"255.255.255.255", "127.0.0.9", "::1", "127.0.0.1"}) {
    if (const int problem = system(address, service, hints, End(found))) return problem;
  }
  return 0;
}

extern "C" int pthread_atfork(ForkHandler prepare, ForkHandler parent, ForkHandler child) noexcept {
  static const auto system = reinterpret_cast<RegisterFunction>(dlsym(RTLD_DEFAULT, "__register_atfork"));
  return Lacks(Lack::kForkHandlers) ? ENOMEM : system(prepare, parent, child, nullptr);
}

void* operator new(std::size_t size) {
  if (void* block = Allocate(size)) return block;
  throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return Allocate(size);
}

void operator delete(void* block) noexcept {
  std::free(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept {
  std::free(block);
}
