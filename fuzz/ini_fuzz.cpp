#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ini_file.h"

// Writes one value to an INI file. The first line of the input is the key, the second the value, the rest the
// file.

namespace {

using std::string;

constexpr char kSection[] = "Env";
constexpr std::size_t kLargest = 16384;  // a line of a larger file might be read in part

void Expect(bool holds) {
  if (!holds) std::abort();
}

// A file that is reused for every input.
class Folder {
 public:
  Folder() : path_(access("/dev/shm", W_OK) == 0 ? "/dev/shm/ini_fuzz_XXXXXX" : "/tmp/ini_fuzz_XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) std::abort();
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  [[nodiscard]] string File() const { return path_ + "/f.ini"; }

  [[nodiscard]] string Read() const {
    std::ifstream file(File(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  string path_;
};

// Removes a line from the input and returns it as a zero-terminated text.
string TakeLine(std::string_view& rest) {
  const std::string_view line = rest.substr(0, rest.find('\n'));
  rest.remove_prefix(std::min(line.size() + 1, rest.size()));
  return string(line).c_str();
}

string Value(const string& file, const char* section, const string& key) {
  std::vector<char> text(2 * kLargest);
  GetPrivateProfileStringA(section, key.c_str(), "?", text.data(), static_cast<DWORD>(text.size()),
                           file.c_str());
  return text.data();
}

std::vector<string> Lines(const string& file, const char* section) {
  std::vector<char> text(4 * kLargest);
  GetPrivateProfileSectionA(section, text.data(), static_cast<DWORD>(text.size()), file.c_str());
  std::vector<string> lines;
  for (const char* line = text.data(); *line != 0; line += lines.back().size() + 1) lines.emplace_back(line);
  return lines;
}

// Returns true if the texts differ in one run of bytes, which in `before` is at most part of a line.
bool DiffersInOnePlace(const string& before, const string& after) {
  const auto [end, place] = std::mismatch(before.begin(), before.end(), after.begin(), after.end());
  const std::string_view rest(&*before.begin() + (end - before.begin()),
                              static_cast<std::size_t>(before.end() - end));
  const auto tail = std::mismatch(before.rbegin(), std::make_reverse_iterator(end), after.rbegin(),
                                  std::make_reverse_iterator(place));
  const std::string_view gone = rest.substr(0, static_cast<std::size_t>(tail.first.base() - end));
  return gone.find('\n') == std::string_view::npos;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const Folder folder;
  std::string_view rest(reinterpret_cast<const char*>(bytes), std::min(size, kLargest));
  const string key = TakeLine(rest);
  const string value = TakeLine(rest);
  const string before(rest);
  const string file = folder.File();
  std::ofstream(file, std::ios::binary) << before;
  const std::vector<string> lines = Lines(file, kSection);
  const std::vector<string> others = Lines(file, "Other");
  if (WritePrivateProfileStringA(kSection, key.c_str(), value.c_str(), file.c_str()) == 0) {
    Expect(folder.Read() == before);
    return 0;
  }
  const string after = folder.Read();
  Expect(Value(file, kSection, key) == value);
  Expect(Lines(file, "Other") == others);
  const std::vector<string> now = Lines(file, kSection);
  Expect(now.size() == lines.size() || now.size() == lines.size() + 1);
  if (!before.empty()) Expect(DiffersInOnePlace(before, after));
  Expect(WritePrivateProfileStringA(kSection, key.c_str(), value.c_str(), file.c_str()) == 1);
  Expect(folder.Read() == after);
  return 0;
}
