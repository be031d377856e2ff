#ifndef TVL_PLATFORM_NAMES_H
#define TVL_PLATFORM_NAMES_H

#include <string>

#include "platform/files.h"

// Copies the first label of the host name, at most 15 characters. `size` is the size of `buffer`, and
// afterwards the length without the terminator. Returns 0 with an empty `buffer` and a `size` of 0 if there
// is no name or it does not fit.
BOOL GetComputerNameA(char* buffer, DWORD* size);

// Copies the name of the effective user. Arguments and result are as above.
BOOL GetUserNameA(char* buffer, DWORD* size);

DWORD GetCurrentProcessId();

namespace tvl {

// Returns 32 random lower-case hexadecimal digits; an empty text, with the reason recorded, if the system has
// no random numbers. May throw std::bad_alloc.
[[nodiscard]] std::string NewId();

// Registers `action` to be called in every child that this process forks from now on. Returns false on
// failure.
bool CallInForkedChild(void (*action)());

}  // namespace tvl

#endif
