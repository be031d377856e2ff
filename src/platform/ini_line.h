#ifndef TVL_PLATFORM_INI_LINE_H
#define TVL_PLATFORM_INI_LINE_H

#include <string_view>

// What a line of an INI file says, for the reader and the writer alike.

namespace tvl {

constexpr std::string_view kIniByteOrderMark = "\xEF\xBB\xBF";

// A line that is no comment and no section: "key=value", or a bare text.
struct IniKeyLine {
  std::string_view name;
  std::string_view value;
  bool has_value;
};

// `text` without blanks, tabs and carriage returns at its ends.
[[nodiscard]] std::string_view TrimIniText(std::string_view text);

[[nodiscard]] bool SameIniName(std::string_view a, std::string_view b);

// The functions below take a trimmed line.

[[nodiscard]] inline bool IsIniRemark(std::string_view line) {
  return line.empty() || line.front() == ';';
}
[[nodiscard]] inline bool IsIniSection(std::string_view line) {
  return !line.empty() && line.front() == '[';
}
[[nodiscard]] std::string_view IniSectionName(std::string_view line);
[[nodiscard]] IniKeyLine SplitIniLine(std::string_view line);

}  // namespace tvl

#endif
