#include "tcp/script.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <map>
#include <stdexcept>

namespace {

using std::string;
using std::string_view;

char HexByte(string_view digits) {
  unsigned char byte = 0;
  const char* end = digits.data() + digits.size();
  if (digits.size() != 2 || std::from_chars(digits.data(), end, byte, 16).ptr != end) {
    throw std::runtime_error("no hexadecimal byte");
  }
  return static_cast<char>(byte);
}

string_view TakeWord(string_view& rest) {
  const string_view word = rest.substr(0, rest.find(' '));
  rest.remove_prefix(word.size());
  return word;
}

// Takes a quoted text off the line, its escapes resolved.
string TakeQuoted(string_view& rest) {
  static const std::map<char, char> escapes = {
      {'t', '\t'}, {'n', '\n'}, {'0', '\0'}, {'\\', '\\'}, {'"', '"'}};
  string text;
  std::size_t at = 1;
  for (; rest.at(at) != '"'; ++at) {
    if (rest[at] != '\\') {
      text += rest[at];
    } else if (rest.at(++at) == 'x') {
      text += HexByte(rest.substr(at + 1, 2));
      at += 2;
    } else {
      text += escapes.at(rest[at]);
    }
  }
  rest.remove_prefix(at + 1);
  return text;
}

// The number before a star, if that is how the line goes on.
int TakeCount(string_view& rest) {
  const std::size_t star = std::min(rest.find_first_not_of("0123456789"), rest.size());
  if (star == 0 || rest.substr(star, 1) != "*") return 1;
  const int count = std::stoi(string(rest.substr(0, star)));
  rest.remove_prefix(star + 1);
  return count;
}

// How many words stand before the bytes of a line; all of them but for these lines.
std::size_t WordsBeforeBytes(const string& verb) {
  static const std::map<string, std::size_t> lines = {{"client", 0},        {"server", 0},
                                                      {"client-packet", 0}, {"server-packet", 0},
                                                      {"local", 1},         {"local-is", 1}};
  const auto found = lines.find(verb);
  return found != lines.end() ? found->second : string::npos;
}

Step ReadStep(string_view rest, int line) {
  Step step;
  step.line = line;
  step.verb = TakeWord(rest);
  for (;;) {
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    if (rest.empty()) return step;
    const bool is_word = step.words.size() < WordsBeforeBytes(step.verb) || rest[0] == '@';
    const int count = TakeCount(rest);
    const bool quoted = rest.substr(0, 1) == "\"";
    string text = quoted ? TakeQuoted(rest) : string(TakeWord(rest));
    const bool anything = !quoted && text == "??";
    if (!quoted && !is_word) text = string(1, anything ? '?' : HexByte(text));
    string repeated;
    for (int i = 0; i < count; ++i) repeated += text;
    if (is_word) {
      step.words.push_back(repeated);
    } else {
      step.bytes.Add(repeated, anything);
    }
  }
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

std::vector<Step> ReadCase(const string& path) {
  std::vector<Step> steps;
  std::ifstream file(path);
  string text;
  for (int line = 1; std::getline(file, text); ++line) {
    try {
      if (!text.empty() && text[0] != '#') steps.push_back(ReadStep(text, line));
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
