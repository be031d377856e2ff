#include "e2e/json_checker.h"

#include <cctype>

namespace {

// Takes a value off the front of a text, by the grammar of the format.
class Parser {
 public:
  explicit Parser(std::string_view text) : rest_(text) {}

  bool Value() {
    if (Take('{')) return Members('}', [this] { return String() && Take(':') && Value(); });
    if (Take('[')) return Members(']', [this] { return Value(); });
    if (!rest_.empty() && rest_.front() == '"') return String();
    return Word("true") || Word("false") || Word("null") || Number();
  }
  [[nodiscard]] bool AtEnd() const { return rest_.empty(); }

 private:
  bool Take(char character) {
    if (rest_.empty() || rest_.front() != character) return false;
    rest_.remove_prefix(1);
    return true;
  }

  bool Word(std::string_view word) {
    if (!rest_.starts_with(word)) return false;
    rest_.remove_prefix(word.size());
    return true;
  }

  template <typename Member>
  bool Members(char end, Member member) {
    if (Take(end)) return true;
    do {
      if (!member()) return false;
    } while (Take(','));
    return Take(end);
  }

  bool Number() {
    Take('-');
    std::size_t digits = 0;
    for (; !rest_.empty() && std::isdigit(static_cast<unsigned char>(rest_.front())) != 0; ++digits)
      rest_.remove_prefix(1);
    return digits > 0;
  }

  bool String() {
    if (!Take('"')) return false;
    while (!rest_.empty() && rest_.front() != '"') {
      if (!(rest_.front() == '\\' ? Escape() : Character())) return false;
    }
    return Take('"');
  }

  bool Escape() {
    rest_.remove_prefix(1);
    if (Take('u')) return HexDigits(4);
    constexpr std::string_view kLetters = "\"\\/bfnrt";
    if (rest_.empty() || kLetters.find(rest_.front()) == std::string_view::npos) return false;
    rest_.remove_prefix(1);
    return true;
  }

  bool HexDigits(int count) {
    for (; count > 0; --count) {
      if (rest_.empty() || std::isxdigit(static_cast<unsigned char>(rest_.front())) == 0) return false;
      rest_.remove_prefix(1);
    }
    return true;
  }

  // A character of one to four bytes, of the shortest form.
  bool Character() {
    const auto first = static_cast<unsigned char>(rest_.front());
    if (first < 0x20) return false;
    const std::size_t length = first < 0x80 ? 1 : first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    if (length == 0 || first > 0xF4 || rest_.size() < length) return false;
    unsigned int code = length == 1 ? first : first & (0x7FU >> length);
    for (std::size_t at = 1; at < length; ++at) {
      const auto byte = static_cast<unsigned char>(rest_[at]);
      if ((byte & 0xC0U) != 0x80U) return false;
      code = code << 6U | (byte & 0x3FU);
    }
    rest_.remove_prefix(length);
    if (length == 3) return code >= 0x800 && (code < 0xD800 || code > 0xDFFF);
    return length != 4 || (code >= 0x10000 && code <= 0x10FFFF);
  }

  std::string_view rest_;
};

}  // namespace

bool IsJson(std::string_view text) {
  Parser parser(text);
  return parser.Value() && parser.AtEnd();
}

bool AreJsonLines(std::string_view text) {
  if (text.empty() || text.back() != '\n') return false;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    if (!IsJson(text.substr(0, end))) return false;
    text.remove_prefix(end + 1);
  }
  return true;
}
