#ifndef TVL_PLATFORM_VERSION_RESOURCE_H
#define TVL_PLATFORM_VERSION_RESOURCE_H

#include "platform/message_queue.h"

// The version resource of an executable file of the PE32 and PE32+ formats, read without trust in a single
// byte of it.

// Size of the block that GetFileVersionInfoA fills; 0 if the file can't be read, is none of that kind or has
// no version resource. `handle` may be null and gets 0.
DWORD GetFileVersionInfoSizeA(const char* path, DWORD* handle);

// Fills `block` (`size` bytes, as many as the former function said). 0 if that can't be done; the block has
// no values then.
BOOL GetFileVersionInfoA(const char* path, DWORD handle, DWORD size, void* block);

// A value of the block by its path, such as "\VarFileInfo\Translation" (pairs of 16 bits) or
// "\StringFileInfo\040904b0\FileVersion" (a zero-terminated text, one byte a character, `?` for what has
// none). `value` points into the block; `length` gets its bytes, or the text's characters with the zero. 0 if
// there is none.
BOOL VerQueryValueA(void* block, const char* path, void** value, UINT* length);

#endif
