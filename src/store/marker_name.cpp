#include "store/marker_name.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "base/text.h"
#include "store/layout.h"

namespace {

using std::string_view;

constexpr std::size_t kClassLength = 4;

// Cuts `rest` at its last `separator` and stores the part after it in `last`. Returns false without a
// separator.
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

}  // namespace

namespace tvl {

bool InstanceName::HasSeparator() const {
  const auto has = [](const char* text) { return std::strpbrk(text, "\\/") != nullptr; };
  return has(computer) || has(ip) || has(client_class);
}

PathText MarkerPath(const char* folder, const InstanceName& name) {
  char numbers[32];
  std::snprintf(numbers, sizeof numbers, "-%03d.%x.", name.instance, name.pid);
  PathText path;
  path.Append(folder).Append(name.computer).Append("-").Append(name.ip).Append(numbers);
  path.Append(name.client_class).Append(kMarkerExtension);
  if (name.HasSeparator()) path.Discard();
  return path;
}

PathText MarkerPattern(const char* folder, const char* client_class) {
  PathText pattern;
  pattern.Append(folder).Append("*.").Append(client_class).Append(kMarkerExtension);
  return pattern;
}

PathText MarkerPattern(const char* folder, const char* computer, const char* ip, const char* client_class) {
  PathText pattern;
  pattern.Append(folder).Append(computer).Append("-").Append(ip).Append("-*.*.").Append(client_class);
  pattern.Append(kMarkerExtension);
  return pattern;
}

}  // namespace tvl

int ParseMarkerName(const char* name, char* computer, char* ip, int* instance, int* pid, char* className) {
  string_view rest(name, strnlen(name, kMarkerNameSize - 1));
  constexpr std::size_t extension = sizeof tvl::kMarkerExtension - 1;
  if (rest.size() < extension || !tvl::EqualNoCase(name + rest.size() - extension, tvl::kMarkerExtension))
    return 0;
  rest.remove_suffix(extension);
  // Uses the fixed length, because a class may itself contain a ".".
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
