#ifndef TVL_PLATFORM_INI_LINE_H
#define TVL_PLATFORM_INI_LINE_H

#include <cstddef>
#include <string_view>

// Parses the lines of INI files, for both reader and writer.

namespace tvl {

// A line that is neither a comment nor a section: "key=value", or a bare text.
struct IniKeyLine {
  std::string_view name;
  std::string_view raw_value;  // with its quotes
  std::string_view value;
  bool has_value;
};

// Iterates over the lines of a file's contents. Of each line, uses the part before its first zero byte, at
// most 32767 bytes, without blanks, tabs and carriage returns at its ends. Skips a byte-order mark at the
// start of the file.
class IniLines {
 public:
  explicit IniLines(std::string_view contents) : contents_(contents) {}

  // Moves to the next line, at first to the first line. Returns false at the end.
  [[nodiscard]] bool Next();

  [[nodiscard]] std::string_view Text() const { return text_; }
  // Return the positions of the current line and of the next one.
  [[nodiscard]] std::size_t Begin() const { return begin_; }
  [[nodiscard]] std::size_t End() const { return end_; }

  // The functions below describe the current line.

  [[nodiscard]] bool IsRemark() const { return text_.empty() || text_.front() == ';'; }
  [[nodiscard]] bool IsSection() const { return !text_.empty() && text_.front() == '['; }
  [[nodiscard]] std::string_view SectionName() const;
  [[nodiscard]] IniKeyLine KeyLine() const;

 private:
  std::string_view contents_;
  std::string_view text_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
};

// Returns `text` without blanks, tabs and carriage returns at its ends.
[[nodiscard]] std::string_view TrimIniText(std::string_view text);

[[nodiscard]] bool SameIniName(std::string_view a, std::string_view b);

}  // namespace tvl

#endif
