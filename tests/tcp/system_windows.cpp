#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>

#include "platform/windows/native.h"
#include "platform/windows/native_socket.h"
#include "tcp/system.h"

constinit thread_local bool lacks_names = false;
constinit thread_local bool lacks_memory = false;

// The linker puts these functions in place of those without "__wrap_", which it calls "__real_"
// (CMakeLists.txt).

using Addresses = std::vector<tvl::native::Address>;

bool ComputerName(char* buffer, std::size_t size) asm(TVL_WRAP_COMPUTER);
bool UserName(char* buffer, std::size_t size) asm(TVL_WRAP_USER);
Addresses LookUp(const char* host, unsigned int port) asm(TVL_WRAP_LOOK_UP);
Addresses RealLookUp(const char* host, unsigned int port) asm(TVL_REAL_LOOK_UP);

bool ComputerName(char* buffer, std::size_t size) {
  if (lacks_names || size < 2) return false;
  std::memcpy(buffer, "A", 2);
  return true;
}

bool UserName(char* buffer, std::size_t size) {
  if (lacks_names || size < 2) return false;
  std::memcpy(buffer, "b", 2);
  return true;
}

Addresses LookUp(const char* host, unsigned int port) {
  const std::string_view name = host;
  if (name == "nowhere.test") return {};
  if (name != "several.test") return RealLookUp(host, port);
  Addresses all;
  for (const char* address : {"255.255.255.255", "127.0.0.9", "::1", "127.0.0.1"}) {
    const Addresses found = RealLookUp(address, port);
    all.insert(all.end(), found.begin(), found.end());
  }
  return all;
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
