#include "platform/ini_line.h"

#include <strings.h>

namespace tvl {
namespace {

using std::string_view;

string_view Unquote(string_view value) {
  if (value.size() < 2 || value.front() != value.back()) return value;
  if (value.front() != '"' && value.front() != '\'') return value;
  return value.substr(1, value.size() - 2);
}

}  // namespace

string_view TrimIniText(string_view text) {
  constexpr string_view blanks = " \t\r";
  const std::size_t begin = text.find_first_not_of(blanks);
  if (begin == string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

bool SameIniName(string_view a, string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

string_view IniSectionName(string_view line) {
  line.remove_prefix(1);
  return TrimIniText(line.substr(0, line.find(']')));
}

IniKeyLine SplitIniLine(string_view line) {
  const std::size_t equals = line.find('=');
  if (equals == string_view::npos) return {line, {}, false};
  return {TrimIniText(line.substr(0, equals)), Unquote(TrimIniText(line.substr(equals + 1))), true};
}

}  // namespace tvl
