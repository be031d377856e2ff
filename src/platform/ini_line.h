#ifndef TVL_PLATFORM_INI_LINE_H
#define TVL_PLATFORM_INI_LINE_H

#include <cstddef>
#include <string_view>

// What a line of an INI file says, for the reader and the writer alike.

namespace tvl {

// A line that is neither a comment nor a section: "key=value", or a bare text.
struct IniKeyLine {
  std::string_view name;
  std::string_view raw_value;  // with its quotes
  std::string_view value;
  bool has_value;
};

// Walks the lines of a file's contents. What counts of a line is what precedes its first zero byte, of its
// first 32767 bytes, without blanks, tabs and carriage returns at its ends; a byte-order mark at the start of
// the file does not count either.
class IniLines {
 public:
  explicit IniLines(std::string_view contents) : contents_(contents) {}

  // Moves to the next line, the first at first. False at the end.
  [[nodiscard]] bool Next();

  [[nodiscard]] std::string_view Text() const { return text_; }
  // Where the line begins, and where the one after it does.
  [[nodiscard]] std::size_t Begin() const { return begin_; }
  [[nodiscard]] std::size_t End() const { return end_; }

  // The functions below are about the current line.

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

// `text` without blanks, tabs and carriage returns at its ends.
[[nodiscard]] std::string_view TrimIniText(std::string_view text);

[[nodiscard]] bool SameIniName(std::string_view a, std::string_view b);

}  // namespace tvl

#endif
