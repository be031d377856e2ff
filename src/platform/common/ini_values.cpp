#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>

#include "platform/ini_file.h"

namespace {

using std::string_view;

DWORD CopyCut(string_view text, char* buffer, DWORD size) {
  if (size == 0) return 0;
  const std::size_t length = std::min<std::size_t>(text.size(), size - 1);
  text.copy(buffer, length);
  buffer[length] = 0;
  return static_cast<DWORD>(length);
}

int LeadingNumber(string_view text) {
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  unsigned int number = 0;
  const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (problem == std::errc::invalid_argument) return 0;
  constexpr unsigned int most = std::numeric_limits<int>::max();
  const int value = static_cast<int>(problem == std::errc() ? std::min(number, most) : most);
  return negative ? -value : value;
}

// A list of zero-terminated texts in a buffer that also ends with a zero.
class TextList {
 public:
  TextList(char* buffer, DWORD size) : buffer_(buffer), size_(size) {}

  bool Add(const tvl::IniKeyLine& line) {
    const std::size_t needed = line.name.size() + (line.has_value ? 1 + line.value.size() : 0) + 1;
    if (length_ + needed + 1 > size_) return false;
    Put(line.name);
    if (line.has_value) Put("=");
    Put(line.value);
    buffer_[length_++] = 0;
    return true;
  }

  DWORD Finish() {
    if (length_ < size_) buffer_[length_] = 0;
    return static_cast<DWORD>(length_);
  }

 private:
  void Put(string_view text) { length_ += text.copy(buffer_ + length_, text.size()); }

  char* buffer_;
  std::size_t size_;
  std::size_t length_ = 0;
};

// The file for one query; empty if it cannot be read.
class FileForOneCall : public tvl::IniFile {
 public:
  explicit FileForOneCall(const char* path) { static_cast<void>(Read(path)); }
};

}  // namespace

namespace tvl {

void IniFile::VisitSection(string_view section, const std::function<bool(const IniKeyLine&)>& visit) const {
  bool inside = false;
  for (IniLines lines(contents_); lines.Next();) {
    if (lines.IsRemark()) continue;
    if (lines.IsSection()) {
      if (inside) return;
      inside = SameIniName(lines.SectionName(), section);
    } else if (inside && !visit(lines.KeyLine())) {
      return;
    }
  }
}

bool IniFile::Find(string_view section, string_view key, string_view& value) const {
  bool found = false;
  VisitSection(section, [&](const IniKeyLine& line) {
    found = line.has_value && SameIniName(line.name, key);
    if (found) value = line.value;
    return !found;
  });
  return found;
}

bool IniFile::Has(string_view section, string_view key) const {
  string_view value;
  return Find(section, key, value);
}

int IniFile::Number(const char* section, const char* key, int otherwise) const {
  string_view value;
  return Find(section, key, value) ? LeadingNumber(value) : otherwise;
}

DWORD IniFile::Text(const char* section, const char* key, const char* otherwise, char* buffer,
                    DWORD size) const {
  string_view value = otherwise;
  static_cast<void>(Find(section, key, value));
  return CopyCut(value, buffer, size);
}

DWORD IniFile::Section(const char* section, char* buffer, DWORD size) const {
  TextList list(buffer, size);
  VisitSection(section, [&](const IniKeyLine& line) { return list.Add(line); });
  return list.Finish();
}

}  // namespace tvl

int GetPrivateProfileIntA(const char* section, const char* key, int otherwise, const char* file) {
  return FileForOneCall(file).Number(section, key, otherwise);
}

DWORD GetPrivateProfileStringA(const char* section, const char* key, const char* otherwise, char* buffer,
                               DWORD size, const char* file) {
  return FileForOneCall(file).Text(section, key, otherwise, buffer, size);
}

DWORD GetPrivateProfileSectionA(const char* section, char* buffer, DWORD size, const char* file) {
  return FileForOneCall(file).Section(section, buffer, size);
}
