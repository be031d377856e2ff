#include "server/log.h"

#include <time.h>
#include <unistd.h>

#include <cstdio>
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

// In quotes. Names come from clients, so control characters, which could forge a line, are written as
// escapes. A byte above 0x7F stands as it is in a log for people; as the character of that number in JSON,
// which must be UTF-8 and whose reader gets the bytes back so.
std::string Quoted(std::string_view text, bool ascii) {
  std::string quoted = "\"";
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte == '"' || byte == '\\') {
      quoted += '\\';
      quoted += character;
    } else if (byte < 0x20 || byte == 0x7F || (ascii && byte > 0x7F)) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", byte);
      quoted += escape;
    } else {
      quoted += character;
    }
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
  std::string line = time + " " + (event.client.empty() ? "-" : event.client) + " " + event.what;
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
  members.Text("what", event.what);
  members.Text("name", event.name);
  if (event.code) members.Add("code", std::to_string(*event.code));
  if (event.bytes) members.Add("bytes", std::to_string(*event.bytes));
  if (event.duration) members.Add("seconds", Seconds(*event.duration));
  members.Text("note", event.note);
  return members.Line();
}

// Whole lines in one call each, so that lines of several processes on one file stay whole.
void Log::Write(const Event& event) const {
  const std::string line = json_ ? JsonLine(Now(), event) : TextLine(Now(), event);
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace tvl::server
