#ifndef TVL_PLATFORM_MODULES_H
#define TVL_PLATFORM_MODULES_H

#include "platform/files.h"

// Libraries loaded at run time.

using HMODULE = void*;
using FARPROC = void (*)();

// Path of the process's executable (`module` is null). Result: its length; 0, with an empty `buffer`, if it
// is not known or doesn't fit.
DWORD GetModuleFileNameA(HMODULE module, char* buffer, DWORD size);

// Loads a library for this process's use alone: its symbols serve no other library. Null if there is none or
// it is broken.
HMODULE LoadLibraryA(const char* path);

// Address of a function of the library; null if the library is null or has none of that name.
FARPROC GetProcAddress(HMODULE module, const char* name);

BOOL FreeLibrary(HMODULE module);

namespace tvl {

// Path of the library, or program, that this code is linked into. Length and failure as for
// GetModuleFileNameA.
DWORD OwnModuleFileName(char* buffer, DWORD size);

}  // namespace tvl

#endif
