#ifndef TVL_PLATFORM_INI_FILE_H
#define TVL_PLATFORM_INI_FILE_H

#include <functional>
#include <string>
#include <string_view>

#include "platform/files.h"
#include "platform/ini_line.h"

// INI files. Section and key names compare without regard to case; blanks around names and values are
// trimmed; a line that begins with `;` is a comment; one pair of quotes around a value is dropped; lines end
// in LF or CRLF; a UTF-8 byte-order mark is skipped; the first section of a name counts. A line counts up to
// its first zero byte and its first 32767 bytes.

namespace tvl {

// The contents of an INI file, read by one open, so that all values come from the same version of the file.
class IniFile {
 public:
  // Reads `path`, trying again for a second while another computer replaces it. Returns 0, or an errno value,
  // also noted, with the contents empty: ENOENT for a missing file, EFBIG for one above 16 MiB.
  // May throw std::bad_alloc.
  [[nodiscard]] int Read(const char* path);

  // Each as the function below that has its name.
  [[nodiscard]] int Number(const char* section, const char* key, int otherwise) const;
  DWORD Text(const char* section, const char* key, const char* otherwise, char* buffer, DWORD size) const;
  DWORD Section(const char* section, char* buffer, DWORD size) const;

  // Calls `visit` for the key lines of the section until it returns false.
  void VisitSection(std::string_view section, const std::function<bool(const IniKeyLine&)>& visit) const;

 private:
  [[nodiscard]] bool Find(std::string_view section, std::string_view key, std::string_view& value) const;

  std::string contents_;
};

// Appends what is left to read from `descriptor` to `contents`. Returns 0 or an errno value.
[[nodiscard]] int ReadIniContents(int descriptor, std::string& contents);

}  // namespace tvl

// A file that is missing or cannot be read reads like an empty one to these functions; why it could not be
// read is noted.

// Number of a key: an optional sign and the digits that follow it; 0 for any other text. `otherwise` if the
// key is missing.
int GetPrivateProfileIntA(const char* section, const char* key, int otherwise, const char* file);

// Text of a key, or `otherwise` if the key is missing, cut to `size` bytes with the terminator. A key with
// nothing after its "=" has the empty text. Returns the length.
DWORD GetPrivateProfileStringA(const char* section, const char* key, const char* otherwise, char* buffer,
                               DWORD size, const char* file);

// The section's lines, each "key=value" (or, without a "=", the trimmed line) and a zero, and one more zero
// after the last. Lines from the first that does not fit whole are left out, because half a value would be a
// wrong one. Returns the number of bytes without the last zero.
DWORD GetPrivateProfileSectionA(const char* section, char* buffer, DWORD size, const char* file);

// Sets a key of a section, or deletes it where `value` is null. A missing key is added at the section's end,
// a missing section at the file's end, a missing file is created. Every other byte stays.
//
// Writers take turns by a hold on the file "<file>.lock", which stays. The new contents are written to
// ".<name>.tvlpart" next to the file, synced and renamed over the file, so readers see the old or the new
// contents and two writers lose nothing; the file is not open meanwhile. Its group and access lists are kept.
//
// Returns 0, with the file as it was, if no turn comes within 10 s, if the group or an access list cannot be
// kept, if the new file cannot be written or renamed, or if such a key or value could not be read back: one
// with a line end, or a key that is empty, has blanks at its ends, contains "=" or begins like a section or a
// comment. Where a refused rename made the file disappear, the part is kept and named by the noted error.
BOOL WritePrivateProfileStringA(const char* section, const char* key, const char* value, const char* file);

#endif
