#include "cli/csv.h"

#include <istream>

namespace tvl::cli {
namespace {

// Reads one value; gives the character that ended it, or EOF.
int ReadValue(std::istream& input, std::string& value) {
  bool quoted = input.peek() == '"';
  if (quoted) input.get();
  for (int character = input.get(); character != EOF; character = input.get()) {
    if (quoted && character == '"') {
      quoted = input.peek() == '"';
      if (!quoted) continue;
      character = input.get();
    } else if (!quoted && (character == ',' || character == '\n')) {
      return character;
    } else if (!quoted && character == '\r' && input.peek() == '\n') {
      continue;
    }
    value += static_cast<char>(character);
  }
  return EOF;
}

}  // namespace

bool ReadCsvRecord(std::istream& input, std::vector<std::string>& values) {
  values.clear();
  if (input.peek() == EOF) return false;
  int end = ',';
  while (end == ',') end = ReadValue(input, values.emplace_back());
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
