#ifndef TVL_PLATFORM_INI_FILE_H
#define TVL_PLATFORM_INI_FILE_H

#include <functional>
#include <string>
#include <string_view>

#include "platform/files.h"
#include "platform/ini_line.h"

// INI files. Names of sections and keys are compared without regard to case; blanks around names and values
// are removed; a line that begins with `;` is a comment; one pair of quotes around a value is removed; lines
// end with LF or CRLF; a UTF-8 byte-order mark is skipped; only the first section of a name is used. Only the
// part of a line before its first zero byte, and at most 32767 bytes of it, is used.

namespace tvl {

// The contents of an INI file, read at once, so that all values come from the same version of the file.
class IniFile {
 public:
  // Reads `path`. Tries again for a second while another computer replaces it. On failure empties the
  // contents, and returns and records an errno value: ENOENT for a missing file, EFBIG for one above 16 MiB.
  // May throw std::bad_alloc.
  [[nodiscard]] int Read(const char* path);

  [[nodiscard]] bool Has(std::string_view section, std::string_view key) const;
  // Like the functions below with these names.
  [[nodiscard]] int Number(const char* section, const char* key, int otherwise) const;
  DWORD Text(const char* section, const char* key, const char* otherwise, char* buffer, DWORD size) const;
  DWORD Section(const char* section, char* buffer, DWORD size) const;

  // Calls `visit` for the key lines of the section until it returns false.
  void VisitSection(std::string_view section, const std::function<bool(const IniKeyLine&)>& visit) const;

 private:
  [[nodiscard]] bool Find(std::string_view section, std::string_view key, std::string_view& value) const;

  std::string contents_;
};

}  // namespace tvl

// These functions treat a missing or unreadable file as an empty one, and record the reason.

// Returns the number of a key: an optional sign and the following digits; 0 for any other text. Returns
// `otherwise` if the key is missing.
int GetPrivateProfileIntA(const char* section, const char* key, int otherwise, const char* file);

// Copies the text of a key, or `otherwise` if the key is missing, cut to `size` bytes including the
// terminator. The text is empty if nothing follows the "=". Returns the length.
DWORD GetPrivateProfileStringA(const char* section, const char* key, const char* otherwise, char* buffer,
                               DWORD size, const char* file);

// Copies the lines of a section, each as "key=value" (or the trimmed line, if it has no "=") and a zero,
// followed by another zero. Stops before the first line that does not fit, because an incomplete value would
// be wrong. Returns the number of bytes without the last zero.
DWORD GetPrivateProfileSectionA(const char* section, char* buffer, DWORD size, const char* file);

// Sets a key of a section, or deletes it if `value` is null. Adds a missing key at the end of the section and
// a missing section at the end of the file, and creates a missing file. All other bytes are unchanged.
//
// Writers take turns by holding the file "<file>.lock", which is never deleted. The new contents are written
// to ".<name>.tvlpart" next to the file, synced and renamed over the file, so that readers see either the old
// or the new contents and two writers lose nothing. The file is not open meanwhile. Its group and access
// lists are kept.
//
// Returns 0 with an unchanged file if there is no turn within 10 s, if the group or an access list cannot be
// kept, if the new file cannot be written or renamed, or if the key or value could not be read back: one with
// a line end, or a key that is empty, begins or ends with a blank, contains "=" or begins like a section or a
// comment. If a refused rename made the file disappear, the part is kept and named in the recorded error.
BOOL WritePrivateProfileStringA(const char* section, const char* key, const char* value, const char* file);

#endif
