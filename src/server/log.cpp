#include "server/log.h"

#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <new>
#include <string_view>

namespace tvl::server {
namespace {

std::string Now() {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  tm parts = {};
  gmtime_r(&now.tv_sec, &parts);
  char seconds[32];
  strftime(seconds, sizeof seconds, "%Y-%m-%dT%H:%M:%S", &parts);
  char text[48];
  std::snprintf(text, sizeof text, "%s.%03ldZ", seconds, now.tv_nsec / 1'000'000);
  return text;
}

std::string Seconds(std::chrono::microseconds duration) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6f", static_cast<double>(duration.count()) / 1e6);
  return text;
}

// How many bytes of a character of UTF-8 follow its first byte. None for those of the control characters that
// begin at 0x80, so that they are seen to.
int Following(unsigned char first) {
  if (first < 0xC3 || first > 0xF4) return 0;
  return first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
}

std::string Escape(unsigned char byte) {
  char escape[8];
  std::snprintf(escape, sizeof escape, "\\u%04x", byte);
  return escape;
}

// In quotes. Names come from clients, so control characters, which could forge a line or steer a terminal,
// are written as escapes. Another byte above 0x7F stands as it is in a log for people; as the character of
// that number in JSON, which must be UTF-8 and whose reader gets the bytes back so.
std::string Quoted(std::string_view text, bool ascii) {
  std::string quoted = "\"";
  int following = 0;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    const bool inside = byte >= 0x80 && byte < 0xC0 && following > 0;
    following = inside ? following - 1 : Following(byte);
    const bool control = byte < 0x20 || byte == 0x7F || (byte >= 0x80 && byte < 0xA0 && !inside);
    if (control || (ascii && byte > 0x7F)) {
      quoted += Escape(byte);
      continue;
    }
    if (byte == '"' || byte == '\\') quoted += '\\';
    quoted += character;
  }
  return quoted + '"';
}

class JsonMembers {
 public:
  void Text(const char* key, std::string_view value) {
    if (!value.empty()) Add(key, Quoted(value, true));
  }
  void Add(const char* key, const std::string& value) {
    members_ += (members_.empty() ? "\"" : ",\"") + std::string(key) + "\":" + value;
  }
  [[nodiscard]] std::string Line() const { return "{" + members_ + "}\n"; }

 private:
  std::string members_;
};

}  // namespace

std::string Log::TextLine(const std::string& time, const Event& event) {
  std::string line = time + " " + (event.client.empty() ? "-" : event.client);
  if (!event.who.empty()) line += " " + Quoted(event.who, false);
  line += " " + event.what;
  if (!event.name.empty()) line += " " + Quoted(event.name, false);
  if (event.code) line += " code=" + std::to_string(*event.code);
  if (event.bytes) line += " bytes=" + std::to_string(*event.bytes);
  if (event.duration) line += " seconds=" + Seconds(*event.duration);
  if (!event.note.empty()) line += " " + event.note;
  return line + "\n";
}

std::string Log::JsonLine(const std::string& time, const Event& event) {
  JsonMembers members;
  members.Text("time", time);
  members.Text("client", event.client);
  members.Text("who", event.who);
  members.Text("what", event.what);
  members.Text("name", event.name);
  if (event.code) members.Add("code", std::to_string(*event.code));
  if (event.bytes) members.Add("bytes", std::to_string(*event.bytes));
  if (event.duration) members.Add("seconds", Seconds(*event.duration));
  members.Text("note", event.note);
  return members.Line();
}

// Whole lines in one call each, so that lines of several processes on one file stay whole. A line for which
// there is no memory is lost: what it tells of goes on.
void Log::Write(const Event& event) const try {
  const std::string line = json_ ? JsonLine(Now(), event) : TextLine(Now(), event);
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
} catch (const std::bad_alloc&) {
}

}  // namespace tvl::server
