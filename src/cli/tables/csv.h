#ifndef TVL_CLI_TABLES_CSV_H
#define TVL_CLI_TABLES_CSV_H

#include <iosfwd>
#include <string>
#include <vector>

namespace tvl::cli {

// Reads records of comma-separated values by RFC 4180: a value in quotes may contain commas, line ends and
// doubled quotes.
class CsvReader {
 public:
  explicit CsvReader(std::istream& input) : input_(input) {}

  // Reads the next record. Returns false at the end of the input.
  [[nodiscard]] bool Read(std::vector<std::string>& values);

  // Returns the number of the line on which the last record began, counted from 1.
  [[nodiscard]] int Line() const { return line_; }

  // Return whether the input ended inside a quoted value, or without a line end.
  [[nodiscard]] bool EndedInQuotes() const { return ended_in_quotes_; }
  [[nodiscard]] bool EndedInLine() const { return ended_in_line_; }

 private:
  [[nodiscard]] int ReadValue(std::string& value);

  std::istream& input_;
  int line_ = 0;
  int next_line_ = 1;
  bool ended_in_quotes_ = false;
  bool ended_in_line_ = false;
};

// Formats a record as one line without a line end.
[[nodiscard]] std::string CsvLine(const std::vector<std::string>& values);

}  // namespace tvl::cli

#endif
