#ifndef TVL_PLATFORM_VERSION_RESOURCE_H
#define TVL_PLATFORM_VERSION_RESOURCE_H

#include "platform/files.h"

// Reads the version resource of an executable file in the PE32 and PE32+ formats. Does not trust any byte of
// the file.

// Returns the size of the block that GetFileVersionInfoA fills; 0 if the file cannot be read, is not an
// executable or has no version resource. `handle` may be null and is set to 0.
DWORD GetFileVersionInfoSizeA(const char* path, DWORD* handle);

// Fills `block`, whose `size` is that returned by GetFileVersionInfoSizeA. Returns 0 on failure; then the
// block has no values.
BOOL GetFileVersionInfoA(const char* path, DWORD handle, DWORD size, void* block);

// Finds a value of the block by its path, such as "\VarFileInfo\Translation" (pairs of 16 bits) or
// "\StringFileInfo\040904b0\FileVersion" (a zero-terminated text with one byte per character, `?` for
// characters without one). `value` points into the block; `length` is its length in bytes, or in characters
// including the zero for a text. Returns 0 if there is none.
BOOL VerQueryValueA(void* block, const char* path, void** value, UINT* length);

#endif
