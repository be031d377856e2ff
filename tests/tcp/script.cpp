#include "tcp/script.h"

#include <charconv>
#include <fstream>
#include <map>
#include <regex>
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

// Returns the text between the quotes with its escapes resolved.
string Unquoted(string_view quoted) {
  static const std::map<char, char> escapes = {
      {'t', '\t'}, {'n', '\n'}, {'0', '\0'}, {'\\', '\\'}, {'"', '"'}};
  string text;
  for (std::size_t at = 1; at + 1 < quoted.size(); ++at) {
    if (quoted[at] != '\\') {
      text += quoted[at];
    } else if (quoted[++at] == 'x') {
      text += HexByte(quoted.substr(at + 1, 2));
      at += 2;
    } else {
      text += escapes.at(quoted[at]);
    }
  }
  return text;
}

// Returns the number of words before the bytes of a line; all of them, except in these lines.
std::size_t WordsBeforeBytes(const string& verb) {
  if (verb.starts_with("client") || verb.starts_with("server")) return 0;
  return verb == "local" || verb == "local-is" ? 1 : string::npos;
}

Step ReadStep(const string& text, int line) {
  // An optional count with a star, then a text in quotes or a word.
  static const std::regex element(R"re((?:(\d+)\*)?("(?:[^"\\]|\\.)*"|[^ "]+))re");
  Step step;
  step.line = line;
  for (std::sregex_iterator at(text.begin(), text.end(), element), end; at != end; ++at) {
    const string word = at->str(2);
    if (step.verb.empty()) {
      step.verb = word;
      continue;
    }
    const bool is_word = step.words.size() < WordsBeforeBytes(step.verb) || word[0] == '@';
    const bool anything = word == "??";
    string once = word[0] == '"' ? Unquoted(word) : word;
    if (once == word && !is_word) once = string(1, anything ? '?' : HexByte(word));
    string repeated;
    for (int count = (*at)[1].matched ? std::stoi(at->str(1)) : 1; count > 0; --count) repeated += once;
    if (is_word) {
      step.words.push_back(repeated);
    } else {
      step.bytes.Add(repeated, anything);
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
