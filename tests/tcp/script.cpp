#include "tcp/script.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <stdexcept>

namespace {

using std::string;
using std::string_view;

constexpr string_view kHexDigits = "0123456789abcdef";

int HexValue(string_view digits) {
  const std::size_t high = kHexDigits.find(digits.at(0));
  const std::size_t low = kHexDigits.find(digits.at(1));
  if (high == string_view::npos || low == string_view::npos) throw std::runtime_error("no hexadecimal byte");
  return static_cast<int>(high * 16 + low);
}

// Takes a quoted text off the line, its escapes resolved.
string TakeQuoted(string_view& rest) {
  static const std::map<char, char> escapes = {
      {'t', '\t'}, {'n', '\n'}, {'0', '\0'}, {'\\', '\\'}, {'"', '"'}};
  string text;
  rest.remove_prefix(1);
  while (rest.at(0) != '"') {
    if (rest[0] != '\\') {
      text += rest[0];
    } else if (rest.at(1) == 'x') {
      text += static_cast<char>(HexValue(rest.substr(2, 2)));
      rest.remove_prefix(3);
    } else {
      text += escapes.at(rest.at(1));
      rest.remove_prefix(1);
    }
    rest.remove_prefix(1);
  }
  rest.remove_prefix(1);
  return text;
}

string_view TakeWord(string_view& rest) {
  const string_view word = rest.substr(0, rest.find(' '));
  rest.remove_prefix(word.size());
  return word;
}

// One element of bytes: a quoted text, a hexadecimal byte, "??", or one of these behind "COUNT*".
void TakeBytes(string_view& rest, Bytes& bytes) {
  std::size_t count = 1;
  if (rest[0] != '"') {
    const string_view word = rest.substr(0, rest.find(' '));
    const std::size_t star = word.find('*');
    if (star != string_view::npos) {
      count = std::stoul(string(word.substr(0, star)));
      rest.remove_prefix(star + 1);
    }
  }
  const bool anything = rest.substr(0, 2) == "??";
  string text(1, 0);
  if (rest.at(0) == '"') {
    text = TakeQuoted(rest);
  } else {
    if (!anything) text[0] = static_cast<char>(HexValue(rest.substr(0, 2)));
    rest.remove_prefix(2);
  }
  for (; count > 0; --count) bytes.Add(text, anything);
}

// A word, or what stands in quotes, with a count before it if wanted.
string TakeWordOrText(string_view& rest) {
  const std::size_t digits = std::min(rest.find_first_not_of("0123456789"), rest.size());
  const bool counted = digits > 0 && rest.substr(digits, 2) == "*\"";
  if (rest[0] != '"' && !counted) return string(TakeWord(rest));
  Bytes bytes;
  TakeBytes(rest, bytes);
  return bytes.text;
}

void SkipBlanks(string_view& rest) {
  rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
}

// Lines whose words stand before their bytes, and how many.
const std::map<string, std::size_t>& WordsBeforeBytes() {
  static const std::map<string, std::size_t> lines = {{"client", 0},        {"server", 0},
                                                      {"client-packet", 0}, {"server-packet", 0},
                                                      {"local", 1},         {"local-is", 1}};
  return lines;
}

Step ReadStep(string_view rest) {
  Step step;
  step.verb = TakeWord(rest);
  const auto bytes = WordsBeforeBytes().find(step.verb);
  for (SkipBlanks(rest); !rest.empty(); SkipBlanks(rest)) {
    const bool is_word =
        bytes == WordsBeforeBytes().end() || step.words.size() < bytes->second || rest[0] == '@';
    if (is_word) {
      step.words.push_back(TakeWordOrText(rest));
    } else {
      TakeBytes(rest, step.bytes);
    }
  }
  return step;
}

}  // namespace

void Bytes::Add(string_view more, bool anything) {
  text += more;
  any.resize(text.size(), anything);
}

bool Bytes::Matches(string_view other) const {
  if (other.size() != text.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!any[i] && other[i] != text[i]) return false;
  }
  return true;
}

bool Step::IsOnTheWire() const {
  static constexpr string_view verbs[] = {"client",        "server", "client-packet",
                                          "server-packet", "accept", "hangup"};
  return std::find(std::begin(verbs), std::end(verbs), verb) != std::end(verbs);
}

std::vector<Step> ReadCase(const string& path) {
  std::vector<Step> steps;
  std::ifstream file(path);
  string text;
  for (int line = 1; std::getline(file, text); ++line) {
    if (text.empty() || text[0] == '#') continue;
    try {
      steps.push_back(ReadStep(text));
      steps.back().line = line;
    } catch (const std::exception& problem) {
      throw std::runtime_error(path + ":" + std::to_string(line) + ": " + problem.what());
    }
  }
  if (steps.empty()) throw std::runtime_error(path + ": holds no case");
  return steps;
}

Bytes Packet(const Bytes& payload, std::size_t extra) {
  const std::size_t length = payload.text.size() + extra;
  Bytes packet;
  packet.Add(string(1, 0), true);
  packet.Add(string{static_cast<char>(length >> 8U), static_cast<char>(length)});
  packet.Add(string(1, 0), true);
  packet.text += payload.text;
  packet.any.insert(packet.any.end(), payload.any.begin(), payload.any.end());
  return packet;
}

string Reply(string_view payload) {
  Bytes bytes;
  bytes.Add(payload);
  return Packet(bytes, 0).text;
}
