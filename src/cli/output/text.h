#ifndef TVL_CLI_OUTPUT_TEXT_H
#define TVL_CLI_OUTPUT_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tvl::cli {

// Returns the length of the UTF-8 character at the start of `bytes`; 0 if there is none.
[[nodiscard]] std::size_t Utf8Length(std::string_view bytes);
[[nodiscard]] bool IsUtf8(std::string_view text);

// Returns the first character of `text`, or one byte if that does not begin a character.
[[nodiscard]] std::string_view FirstCharacter(std::string_view text);

// Compares two texts regardless of the case of ASCII letters.
[[nodiscard]] bool EqualsIgnoringCase(std::string_view one, std::string_view other);

[[nodiscard]] std::string Utf8FromLatin1(std::string_view text);

// Returns the code point of a UTF-8 character.
[[nodiscard]] char32_t CodePointOf(std::string_view character);

// Returns true for a character that would control a terminal, break a line or change the writing direction.
[[nodiscard]] bool IsControl(char32_t code_point);

// Returns `text` with control characters replaced by "?".
[[nodiscard]] std::string Printable(std::string_view text);

// Returns the width of `text` in terminal columns: wide characters take two, combining characters none.
[[nodiscard]] std::size_t ColumnsOf(std::string_view text);

// Returns the longest prefix of `text` that fits into `columns`.
[[nodiscard]] std::string CutToColumns(std::string_view text, std::size_t columns);

// Returns a path of the library with slashes as separators.
[[nodiscard]] std::string Slashed(std::string_view path);

// Converts a full path of the library to a host path without a trailing slash.
[[nodiscard]] std::string HostFolder(std::string_view path);

// Appends `name` to `folder`, separated by one slash.
[[nodiscard]] std::string Joined(std::string_view folder, std::string_view name);

[[nodiscard]] std::string HumanBytes(std::uint64_t bytes);                      // "1.2 MB"
[[nodiscard]] std::string HumanSeconds(std::uint64_t time);                     // "3:05", "1:02:03"
[[nodiscard]] std::string Counted(std::uint64_t count, std::string_view noun);  // "1 file", "2 files"

}  // namespace tvl::cli

#endif
