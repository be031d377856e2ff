#include "server/log/log_line.h"

#include <time.h>

#include <array>
#include <cstdio>
#include <string_view>

#include "base/utf8.h"
#include "server/log/hexadecimal.h"

namespace tvl::server {
namespace {

constexpr std::array<const char*, 3> kLevels = {"error", "warning", "info"};

const char* NameOf(Level level) {
  return kLevels[static_cast<std::size_t>(level)];
}

std::string Formatted(LogTime time) {
  const auto since = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch());
  const time_t whole = since.count() / 1000;
  tm parts = {};
  gmtime_r(&whole, &parts);
  char seconds[32];
  strftime(seconds, sizeof seconds, "%Y-%m-%dT%H:%M:%S", &parts);
  char text[64];
  std::snprintf(text, sizeof text, "%s.%03dZ", seconds, static_cast<int>(since.count() % 1000));
  return text;
}

std::string Seconds(std::chrono::microseconds duration) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6f", static_cast<double>(duration.count()) / 1e6);
  return text;
}

std::string Escape(char32_t code) {
  char escape[16];
  std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned int>(code));
  return escape;
}

std::string EscapeByte(char byte) {
  char escape[8];
  std::snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned char>(byte));
  return escape;
}

// All characters that JSON requires to be escaped are among those that are unsafe to show. A byte that is not
// UTF-8 gets an escape that is not valid in JSON; such texts are never written to JSON.
std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  while (!text.empty()) {
    const Utf8Character character = DecodeUtf8(text);
    if (character.size == 0) {
      quoted += EscapeByte(text[0]);
      text.remove_prefix(1);
      continue;
    }
    if (IsUnsafeToShow(character.code)) {
      quoted += Escape(character.code);
    } else {
      if (text[0] == '"' || text[0] == '\\') quoted += '\\';
      quoted += text.substr(0, character.size);
    }
    text.remove_prefix(character.size);
  }
  return quoted + '"';
}

class JsonMembers {
 public:
  void Text(const std::string& key, std::string_view value) {
    if (value.empty()) return;
    if (IsUtf8(value)) {
      Add(key, Quoted(value));
    } else {
      Add(key + "_hex", Quoted(Hexadecimal(value)));
    }
  }
  void Add(const std::string& key, const std::string& value) {
    members_ += (members_.empty() ? "\"" : ",\"") + key + "\":" + value;
  }
  template <typename Value>
  void Number(const char* key, const std::optional<Value>& value) {
    if (value) Add(key, std::to_string(*value));
  }
  [[nodiscard]] std::string Line() const { return "{" + members_ + "}\n"; }

 private:
  std::string members_;
};

template <typename Value>
std::string Member(const char* key, const std::optional<Value>& value) {
  return value ? std::string(" ") + key + "=" + std::to_string(*value) : std::string();
}

}  // namespace

std::string TextLine(LogTime time, const Event& event) {
  std::string line = Formatted(time) + " " + (event.client.empty() ? "-" : event.client);
  if (!event.who.empty()) line += " " + Quoted(event.who);
  if (event.level != Level::kInfo) line += std::string(" ") + NameOf(event.level) + ":";
  line += " " + event.what;
  if (!event.name.empty()) line += " " + Quoted(event.name);
  line += Member("request", event.request) + Member("code", event.code) + Member("bytes", event.bytes);
  if (event.duration) line += " seconds=" + Seconds(*event.duration);
  line += Member("left_out", event.left_out);
  if (!event.note.empty()) line += " " + event.note;
  return line + "\n";
}

std::string JsonLine(LogTime time, const Event& event) {
  JsonMembers members;
  members.Text("time", Formatted(time));
  members.Text("level", NameOf(event.level));
  members.Text("client", event.client);
  members.Text("who", event.who);
  members.Text("what", event.what);
  members.Text("name", event.name);
  members.Number("request", event.request);
  members.Number("code", event.code);
  members.Number("bytes", event.bytes);
  if (event.duration) members.Add("seconds", Seconds(*event.duration));
  members.Number("left_out", event.left_out);
  members.Text("note", event.note);
  return members.Line();
}

}  // namespace tvl::server
