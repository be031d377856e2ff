#include "presence/marker.h"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "base/file_helpers.h"
#include "base/text.h"
#include "platform/files.h"
#include "platform/last_error.h"

namespace {

using std::string_view;
using tvl::InstanceName;

constexpr char kExtension[] = ".tvp";
constexpr std::size_t kClassLength = 4;

// Cuts `rest` at its last `separator`; `last` is what followed that. False without one.
bool CutLast(string_view& rest, char separator, string_view& last) {
  const std::size_t at = rest.rfind(separator);
  if (at == string_view::npos) return false;
  last = rest.substr(at + 1);
  rest = rest.substr(0, at);
  return true;
}

void CopyText(string_view text, char* output) {
  if (output == nullptr) return;
  std::memcpy(output, text.data(), text.size());
  output[text.size()] = 0;
}

void CopyNumber(string_view text, int base, int* output) {
  if (output == nullptr) return;
  unsigned int value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value, base);
  *output = static_cast<int>(value);
}

bool HasSeparator(const InstanceName& name) {
  const auto has = [](const char* text) { return std::strpbrk(text, "\\/") != nullptr; };
  return has(name.computer) || has(name.ip) || has(name.client_class);
}

}  // namespace

namespace tvl {

PathText MarkerPath(const char* folder, const InstanceName& name) {
  char numbers[32];
  std::snprintf(numbers, sizeof numbers, "-%03d.%x.", name.instance, name.pid);
  PathText path;
  path.Append(folder).Append(name.computer).Append("-").Append(name.ip).Append(numbers);
  path.Append(name.client_class).Append(kExtension);
  if (HasSeparator(name)) path.Discard();
  return path;
}

bool IsMarkerAlive(const char* path) {
  DeleteFileA(path);
  if (FileExists(path) != 0) return true;
  const int problem = LastErrorCode();
  return problem != ENOENT && problem != ENOTDIR;
}

bool IsInstanceAlive(const char* folder, const InstanceName& name) {
  const PathText path = MarkerPath(folder, name);
  return path.Fits() ? IsMarkerAlive(path.Text()) : !HasSeparator(name);
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
  CopyText(rest, computer);
  CopyText(address, ip);
  CopyNumber(number, 10, instance);
  CopyNumber(process, 16, pid);
  CopyText(client_class, className);
  return 1;
}
