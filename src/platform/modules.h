#ifndef TVL_PLATFORM_MODULES_H
#define TVL_PLATFORM_MODULES_H

#include "platform/files.h"

// Libraries loaded at run time.

using HMODULE = void*;
using FARPROC = void (*)();

// Copies the path of the process's executable (`module` is null). Returns its length, or 0 with an empty
// `buffer` if it is unknown or does not fit.
DWORD GetModuleFileNameA(HMODULE module, char* buffer, DWORD size);

// Loads a library. Its symbols are not visible to other libraries. Returns null if it does not exist or is
// damaged.
HMODULE LoadLibraryA(const char* path);

// Returns the address of a function of the library; null if the library is null or does not have it.
FARPROC GetProcAddress(HMODULE module, const char* name);

BOOL FreeLibrary(HMODULE module);

namespace tvl {

// Copies the path of the library or program that this code is linked into. The result is that of
// GetModuleFileNameA.
DWORD OwnModuleFileName(char* buffer, DWORD size);

}  // namespace tvl

#endif
