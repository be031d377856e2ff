#ifndef TVL_PLATFORM_NAMES_H
#define TVL_PLATFORM_NAMES_H

#include "platform/files.h"

// First label of the host name, at most 15 characters. `size`: in the room of `buffer`, out the length
// without the terminator. 0 if there is no name or no room; `buffer` is empty and `size` 0 then.
BOOL GetComputerNameA(char* buffer, DWORD* size);

// Name of the effective user. Arguments and result as above.
BOOL GetUserNameA(char* buffer, DWORD* size);

DWORD GetCurrentProcessId();

namespace tvl {

// Has `action` called in every child that this process forks from now on. False if that can't be had.
bool CallInForkedChild(void (*action)());

}  // namespace tvl

#endif
