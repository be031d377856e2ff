#include "platform/ini_line.h"

#include <algorithm>

#include "platform/common/name_pattern.h"

namespace tvl {
namespace {

using std::string_view;

constexpr string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::size_t kLongestLine = 32767;

string_view Unquote(string_view value) {
  if (value.size() < 2 || value.front() != value.back()) return value;
  if (value.front() != '"' && value.front() != '\'') return value;
  return value.substr(1, value.size() - 2);
}

}  // namespace

bool IniLines::Next() {
  if (end_ >= contents_.size()) return false;
  begin_ = end_;
  const std::size_t line_end = std::min(contents_.find('\n', begin_), contents_.size());
  end_ = std::min(line_end + 1, contents_.size());
  text_ = contents_.substr(begin_, std::min(line_end - begin_, kLongestLine));
  text_ = text_.substr(0, text_.find('\0'));
  if (begin_ == 0 && text_.starts_with(kByteOrderMark)) text_.remove_prefix(kByteOrderMark.size());
  text_ = TrimIniText(text_);
  return true;
}

string_view IniLines::SectionName() const {
  const string_view name = text_.substr(1);
  return TrimIniText(name.substr(0, name.find(']')));
}

IniKeyLine IniLines::KeyLine() const {
  const std::size_t equals = text_.find('=');
  if (equals == string_view::npos) return {text_, {}, {}, false};
  const string_view raw = TrimIniText(text_.substr(equals + 1));
  return {TrimIniText(text_.substr(0, equals)), raw, Unquote(raw), true};
}

string_view TrimIniText(string_view text) {
  constexpr string_view blanks = " \t\r";
  const std::size_t begin = text.find_first_not_of(blanks);
  if (begin == string_view::npos) return text.substr(text.size());
  return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

bool SameIniName(string_view a, string_view b) {
  return std::ranges::equal(a, b, {}, LowerLetter, LowerLetter);
}

}  // namespace tvl
