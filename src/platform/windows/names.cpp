#include "platform/names.h"

#include <cstring>

#include "platform/windows/native.h"

namespace {

// The result of both functions below for a name that was copied, or was not.
BOOL Copied(bool copied, char* buffer, DWORD* size) {
  if (!copied && *size > 0) buffer[0] = 0;
  *size = copied ? static_cast<DWORD>(std::strlen(buffer)) : 0;
  return copied ? 1 : 0;
}

}  // namespace

BOOL GetComputerNameA(char* buffer, DWORD* size) {
  return Copied(tvl::native::ComputerName(buffer, *size), buffer, size);
}

BOOL GetUserNameA(char* buffer, DWORD* size) {
  return Copied(tvl::native::UserName(buffer, *size), buffer, size);
}

DWORD GetCurrentProcessId() {
  return tvl::native::ProcessId();
}

std::string tvl::NewId() {
  constexpr char digits[] = "0123456789abcdef";
  constexpr int kWords = 4;
  constexpr unsigned int kDigitsOfWord = 8;
  std::string id;
  for (int word = 0; word < kWords; ++word) {
    std::uint32_t bits = native::Random();
    for (unsigned int i = 0; i < kDigitsOfWord; ++i, bits >>= 4U) id += digits[bits & 15U];
  }
  return id;
}

// The system has no forks.
bool tvl::CallInForkedChild(void (* /*action*/)()) {
  return true;
}
