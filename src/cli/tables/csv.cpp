#include "cli/tables/csv.h"

#include <istream>

namespace tvl::cli {

// Reads one value and returns the character that ended it, or EOF.
int CsvReader::ReadValue(std::string& value) {
  bool quoted = input_.peek() == '"';
  if (quoted) input_.get();
  for (int character = input_.get(); character != EOF; character = input_.get()) {
    if (character == '\n') ++next_line_;
    if (quoted && character == '"') {
      quoted = input_.peek() == '"';
      if (!quoted) continue;
      character = input_.get();
    } else if (!quoted && (character == ',' || character == '\n')) {
      return character;
    } else if (!quoted && character == '\r' && input_.peek() == '\n') {
      continue;
    }
    value += static_cast<char>(character);
  }
  ended_in_quotes_ = quoted;
  ended_in_line_ = true;
  return EOF;
}

bool CsvReader::Read(std::vector<std::string>& values) {
  values.clear();
  if (input_.peek() == EOF) return false;
  line_ = next_line_;
  int end = ',';
  while (end == ',') end = ReadValue(values.emplace_back());
  return true;
}

std::string CsvLine(const std::vector<std::string>& values) {
  std::string line;
  for (const std::string& value : values) {
    if (&value != &values.front()) line += ',';
    if (value.find_first_of(",\"\r\n") == std::string::npos) {
      line += value;
      continue;
    }
    line += '"';
    for (const char character : value) line.append(character == '"' ? 2 : 1, character);
    line += '"';
  }
  return line;
}

}  // namespace tvl::cli
