#ifndef TVL_PLATFORM_INI_FILE_H
#define TVL_PLATFORM_INI_FILE_H

#include "platform/files.h"

// Reading of INI files. Section and key names compare without regard to case; blanks around names and values
// go; a line that begins with `;` is a comment; one pair of quotes around a value goes; lines end in LF or
// CRLF; a UTF-8 byte-order mark is skipped; the first section of a name counts. A missing or unreadable file
// reads like an empty one. A line counts up to its first zero byte and its first 32767 bytes. No call needs
// memory in proportion to the file.

// Number behind a key: an optional sign and digits, as far as they go; 0 for other text. `otherwise` if the
// key isn't there.
int GetPrivateProfileIntA(const char* section, const char* key, int otherwise, const char* file);

// Text behind a key, or `otherwise` if the key isn't there, cut to the room of `buffer`. A key with nothing
// behind its
// "=" gives the empty text. Result: the length.
DWORD GetPrivateProfileStringA(const char* section, const char* key, const char* otherwise, char* buffer,
                               DWORD size, const char* file);

// The section's lines, each "key=value" (or, without a "=", as it stands) and a zero, with one more zero
// behind the last. Lines from the first that doesn't fit whole are left out: half a value would be a wrong
// one. Result: the bytes without the last zero.
DWORD GetPrivateProfileSectionA(const char* section, char* buffer, DWORD size, const char* file);

// Gives a key of a section a value; a missing key is put at the section's end, a missing section at the
// file's, a missing file is made. Every other byte stays. The new contents are written beside the file,
// synced and given its name, so readers see the old or the new, and two writers at once lose nothing. 0, and
// the file stays, if it can't be locked within 10 s or written, or if such a key or value could not be read
// back: one with a line end, or a key that is empty, has blanks at its ends, holds "=" or begins like a
// section or a comment.
BOOL WritePrivateProfileStringA(const char* section, const char* key, const char* value, const char* file);

#endif
