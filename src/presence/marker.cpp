#include "presence/marker.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "base/file_helpers.h"
#include "base/text.h"
#include "platform/files.h"

namespace {

using std::string_view;

constexpr char kExtension[] = ".tvp";
constexpr std::size_t kClassLength = 4;

// Cuts `rest` at its last `separator` and gives what stood behind it; false without one.
bool CutLast(string_view& rest, char separator, string_view& behind) {
  const std::size_t at = rest.rfind(separator);
  if (at == string_view::npos) return false;
  behind = rest.substr(at + 1);
  rest = rest.substr(0, at);
  return true;
}

void GiveText(string_view text, char* output) {
  if (output == nullptr) return;
  std::memcpy(output, text.data(), text.size());
  output[text.size()] = 0;
}

void GiveNumber(string_view text, int base, int* output) {
  if (output == nullptr) return;
  unsigned int value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value, base);
  *output = static_cast<int>(value);
}

bool HoldsSeparator(const char* text) {
  return std::strpbrk(text, "\\/") != nullptr;
}

}  // namespace

namespace tvl {

PathText MarkerPath(const char* folder, const InstanceName& name) {
  char numbers[32];
  std::snprintf(numbers, sizeof numbers, "-%03d.%x.", name.instance, name.pid);
  PathText path;
  path.Append(folder).Append(name.computer).Append("-").Append(name.ip).Append(numbers);
  path.Append(name.client_class).Append(kExtension);
  if (HoldsSeparator(name.computer) || HoldsSeparator(name.ip) || HoldsSeparator(name.client_class))
    path.Discard();
  return path;
}

bool IsMarkerAlive(const char* path) {
  DeleteFileA(path);
  return FileExists(path) != 0;
}

}  // namespace tvl

int ParseMarkerName(const char* name, char* computer, char* ip, int* instance, int* pid, char* className) {
  string_view rest(name, strnlen(name, kMarkerNameRoom - 1));
  constexpr std::size_t extension = sizeof kExtension - 1;
  if (rest.size() < extension || !tvl::EqualNoCase(name + rest.size() - extension, kExtension)) return 0;
  rest.remove_suffix(extension);
  // Counted, not searched for: a class may hold a "." itself.
  if (rest.size() <= kClassLength || rest[rest.size() - kClassLength - 1] != '.') return 0;
  const string_view client_class = rest.substr(rest.size() - kClassLength);
  rest.remove_suffix(kClassLength + 1);
  string_view process;
  string_view number;
  string_view address;
  if (!CutLast(rest, '.', process) || !CutLast(rest, '-', number) || !CutLast(rest, '-', address)) return 0;
  GiveText(rest, computer);
  GiveText(address, ip);
  GiveNumber(number, 10, instance);
  GiveNumber(process, 16, pid);
  GiveText(client_class, className);
  return 1;
}
