#include "platform/common/ini_edit.h"

#include <vector>

#include "platform/ini_line.h"

namespace tvl {
namespace {

using std::string_view;

// A part of the contents.
struct Piece {
  std::size_t at;
  std::size_t length;
};

// The position of a key, or the position for its line.
struct Places {
  bool has_section = false;
  std::vector<Piece> lines;   // complete lines of the key
  Piece value = {};           // value of the first line, with its quotes
  std::size_t insertion = 0;  // after the section's last line that is not blank, or the end of the file
};

// The blanks around a value are part of its line, not of the value.
Piece ValueOf(string_view contents, const IniLines& line, const IniKeyLine& key_line) {
  if (key_line.raw_value.empty()) return {contents.find('=', line.Begin()) + 1, 0};
  return {static_cast<std::size_t>(key_line.raw_value.data() - contents.data()), key_line.raw_value.size()};
}

Places FindPlaces(string_view contents, string_view section, string_view key) {
  Places places;
  places.insertion = contents.size();
  for (IniLines line(contents); line.Next();) {
    if (line.IsSection()) {
      if (places.has_section) break;
      places.has_section = SameIniName(line.SectionName(), section);
      if (places.has_section) places.insertion = line.End();
    } else if (places.has_section && !line.Text().empty()) {
      places.insertion = line.End();
      const IniKeyLine key_line = line.KeyLine();
      if (line.IsRemark() || !key_line.has_value || !SameIniName(key_line.name, key)) continue;
      if (places.lines.empty()) places.value = ValueOf(contents, line, key_line);
      places.lines.push_back({line.Begin(), line.End() - line.Begin()});
    }
  }
  return places;
}

// Quotes the value if the reader would drop characters at its ends.
std::string Quoted(string_view value) {
  const std::string line = std::string("=").append(value);
  IniLines lines(line);
  const bool kept = lines.Next() && lines.KeyLine().value.size() == value.size();
  return kept ? std::string(value) : '"' + std::string(value) + '"';
}

bool HasLineEnd(string_view text) {
  return text.find_first_of("\r\n") != string_view::npos;
}

std::string WithoutLines(string_view contents, const std::vector<Piece>& lines) {
  std::string result(contents);
  for (auto line = lines.rbegin(); line != lines.rend(); ++line) result.erase(line->at, line->length);
  return result;
}

}  // namespace

bool CanBeIniLine(string_view key, std::optional<string_view> value) {
  if (key.empty() || HasLineEnd(key) || HasLineEnd(value.value_or(""))) return false;
  if (key.front() == ';' || key.front() == '[') return false;
  return TrimIniText(key) == key && key.find('=') == string_view::npos;
}

std::string EditIni(string_view contents, string_view section, string_view key,
                    std::optional<string_view> value) {
  const Places places = FindPlaces(contents, section, key);
  if (!value) return WithoutLines(contents, places.lines);
  std::string result(contents);
  if (!places.lines.empty()) return result.replace(places.value.at, places.value.length, Quoted(*value));
  const string_view line_end = contents.find("\r\n") == string_view::npos ? "\n" : "\r\n";
  std::string lines;
  if (places.insertion > 0 && contents[places.insertion - 1] != '\n') lines += line_end;
  if (!places.has_section) lines.append("[").append(section).append("]").append(line_end);
  lines.append(key).append("=").append(Quoted(*value)).append(line_end);
  return result.insert(places.insertion, lines);
}

}  // namespace tvl
