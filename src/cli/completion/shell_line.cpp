#include "cli/completion/shell_line.h"

#include <cstdlib>

namespace tvl::cli {
namespace {

bool IsBlank(char byte) {
  return byte == ' ' || byte == '\t' || byte == '\n';
}

// Removes the first word of `line` and returns it without quotes.
std::string NextWord(std::string_view& line) {
  std::string word;
  char quote = '\0';
  while (!line.empty() && (quote != '\0' || !IsBlank(line.front()))) {
    const char byte = line.front();
    line.remove_prefix(1);
    if (byte == quote) {
      quote = '\0';
    } else if (quote == '\0' && (byte == '\'' || byte == '"')) {
      quote = byte;
    } else if (byte == '\\' && quote != '\'' && !line.empty()) {
      word += line.front();
      line.remove_prefix(1);
    } else {
      word += byte;
    }
  }
  return word;
}

void ExpandHome(std::string& word) {
  const char* home = std::getenv("HOME");
  if (home != nullptr && word.starts_with("~/")) word.replace(0, 1, home);
}

}  // namespace

std::vector<std::string> SplitShellLine(std::string_view line) {
  std::vector<std::string> words;
  for (;;) {
    while (!line.empty() && IsBlank(line.front())) line.remove_prefix(1);
    words.push_back(NextWord(line));
    if (line.empty()) return words;
    ExpandHome(words.back());
    // A blank at the end begins an empty word, which the next round appends.
  }
}

}  // namespace tvl::cli
