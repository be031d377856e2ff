#ifndef TVL_CLI_TEXT_H
#define TVL_CLI_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tvl::cli {

// Length of the UTF-8 character that `bytes` begin with; 0 if they begin with none.
[[nodiscard]] std::size_t Utf8Length(std::string_view bytes);

[[nodiscard]] std::string Utf8FromLatin1(std::string_view text);

// The code point of a UTF-8 character.
[[nodiscard]] char32_t CodePointOf(std::string_view character);

// True for what would steer a terminal, break a line or change the direction of writing.
[[nodiscard]] bool IsControl(char32_t code_point);

// `text` with control characters shown as "?".
[[nodiscard]] std::string Printable(std::string_view text);

// Columns that `text` takes on a terminal: wide characters take two, combining ones none.
[[nodiscard]] std::size_t ColumnsOf(std::string_view text);

// The beginning of `text` that fits into `columns`.
[[nodiscard]] std::string CutToColumns(std::string_view text, std::size_t columns);

// A path of the library with the separators of this system.
[[nodiscard]] std::string Slashed(std::string_view path);

// A full path of the library in this system's form, without the separator at its end.
[[nodiscard]] std::string HostFolder(std::string_view path);

// `name` behind `folder`, with one slash between.
[[nodiscard]] std::string Joined(std::string_view folder, std::string_view name);

[[nodiscard]] std::string HumanBytes(std::uint64_t bytes);                      // "1.2 MB"
[[nodiscard]] std::string HumanSeconds(std::uint64_t time);                     // "3:05", "1:02:03"
[[nodiscard]] std::string Counted(std::uint64_t count, std::string_view noun);  // "1 file", "2 files"

}  // namespace tvl::cli

#endif
