#include "platform/ini_file.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <limits>
#include <string_view>

#include "platform/ini_line.h"
#include "platform/open_file.h"
#include "platform/system_calls.h"

namespace {

using std::string_view;

constexpr std::size_t kLongestLine = 32767;

// Lines of a file, one after the other, through buffers of fixed size.
class LineReader {
 public:
  explicit LineReader(const char* path) : file_(path, O_RDONLY) {}

  // The next line without its end; it holds until the next call. False at the end of the file.
  bool Next(string_view& line) {
    length_ = 0;
    bool any = false;
    char character = 0;
    while (NextByte(character)) {
      any = true;
      if (character == '\n') break;
      if (length_ < kLongestLine) line_[length_++] = character;
    }
    line = string_view(line_, length_);
    line = line.substr(0, line.find('\0'));
    if (first_ && line.substr(0, 3) == tvl::kIniByteOrderMark) line.remove_prefix(3);
    first_ = false;
    return any;
  }

 private:
  bool NextByte(char& byte) {
    if (at_ == filled_ && !Fill()) return false;
    byte = block_[at_++];
    return true;
  }

  bool Fill() {
    if (!file_.IsOpen()) return false;
    ssize_t count = 0;
    do {
      count = tvl::System().read(file_.Descriptor(), block_, sizeof block_);
    } while (count < 0 && errno == EINTR);
    if (count < 0) file_.NoteFailure();
    if (count <= 0) return false;
    at_ = 0;
    filled_ = static_cast<std::size_t>(count);
    return true;
  }

  tvl::OpenFile file_;
  char block_[16384];
  std::size_t at_ = 0;
  std::size_t filled_ = 0;
  char line_[kLongestLine];
  std::size_t length_ = 0;
  bool first_ = true;
};

// Calls `visit` for the key lines of the section until it gives false.
template <typename Visit>
void VisitSection(const char* section, const char* file, Visit visit) {
  LineReader reader(file);
  bool inside = false;
  string_view line;
  while (reader.Next(line)) {
    line = tvl::TrimIniText(line);
    if (tvl::IsIniRemark(line)) continue;
    if (tvl::IsIniSection(line)) {
      if (inside) return;
      inside = tvl::SameIniName(tvl::IniSectionName(line), section);
    } else if (inside && !visit(tvl::SplitIniLine(line))) {
      return;
    }
  }
}

// Calls `take` with the value of the key if it is there.
template <typename Take>
void FindValue(const char* section, const char* key, const char* file, Take take) {
  VisitSection(section, file, [&](const tvl::IniKeyLine& line) {
    if (!line.has_value || !tvl::SameIniName(line.name, key)) return true;
    take(line.value);
    return false;
  });
}

DWORD CopyCut(string_view text, char* buffer, DWORD size) {
  if (size == 0) return 0;
  const std::size_t length = std::min<std::size_t>(text.size(), size - 1);
  text.copy(buffer, length);
  buffer[length] = 0;
  return static_cast<DWORD>(length);
}

int LeadingNumber(string_view text) {
  const bool negative = text.substr(0, 1) == "-";
  if (negative || text.substr(0, 1) == "+") text.remove_prefix(1);
  unsigned int number = 0;
  const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (problem == std::errc::invalid_argument) return 0;
  constexpr unsigned int most = std::numeric_limits<int>::max();
  const int value = static_cast<int>(problem == std::errc() ? std::min(number, most) : most);
  return negative ? -value : value;
}

// Zero-terminated texts one behind the other in a room that also needs a zero at its end.
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

}  // namespace

int GetPrivateProfileIntA(const char* section, const char* key, int otherwise, const char* file) {
  int result = otherwise;
  FindValue(section, key, file, [&](string_view value) { result = LeadingNumber(value); });
  return result;
}

DWORD GetPrivateProfileStringA(const char* section, const char* key, const char* otherwise, char* buffer,
                               DWORD size, const char* file) {
  DWORD length = CopyCut(otherwise, buffer, size);
  FindValue(section, key, file, [&](string_view value) { length = CopyCut(value, buffer, size); });
  return length;
}

DWORD GetPrivateProfileSectionA(const char* section, char* buffer, DWORD size, const char* file) {
  TextList list(buffer, size);
  VisitSection(section, file, [&](const tvl::IniKeyLine& line) { return list.Add(line); });
  return list.Finish();
}
