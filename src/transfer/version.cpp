#include "transfer/version.h"

#include <cstdio>
#include <cstring>
#include <string_view>
#include <vector>

#include "base/fixed_text.h"
#include "base/low_file.h"
#include "base/numbers.h"
#include "platform/version_resource.h"

namespace {

using std::string_view;

constexpr unsigned int kVersionWidth = 2;
constexpr unsigned int kBuildWidth = 6;
constexpr unsigned int kFileSize = 1024;
constexpr std::size_t kKeySize = 64;

// The version resource of an executable, in the first language that it lists.
class ExecutableVersion {
 public:
  explicit ExecutableVersion(const char* path) : block_(GetFileVersionInfoSizeA(path, nullptr)) {
    if (block_.empty()) return;
    GetFileVersionInfoA(path, 0, static_cast<DWORD>(block_.size()), block_.data());
    FindLanguage();
  }

  [[nodiscard]] bool IsUsable() const { return prefix_[0] != 0; }

  // Returns the text of a value; null if there is none.
  [[nodiscard]] const char* Text(const char* name) {
    tvl::FixedText<kKeySize> key;
    key.Append(prefix_).Append(name);
    void* text = nullptr;
    UINT length = 0;
    if (VerQueryValueA(block_.data(), key.Text(), &text, &length) == 0) return nullptr;
    return static_cast<const char*>(text);
  }

  // Returns the number of a value; 0 if there is none.
  [[nodiscard]] int Number(const char* name, unsigned int width) {
    const char* text = Text(name);
    return text == nullptr ? 0 : NumericField(text, width);
  }

 private:
  void FindLanguage() {
    void* value = nullptr;
    UINT length = 0;
    if (VerQueryValueA(block_.data(), "\\VarFileInfo\\Translation", &value, &length) == 0) return;
    unsigned char pair[4];
    if (value == nullptr || length < sizeof pair) return;
    std::memcpy(pair, value, sizeof pair);
    std::snprintf(prefix_, sizeof prefix_, "\\StringFileInfo\\%04x%04x\\", pair[0] | pair[1] << 8,
                  pair[2] | pair[3] << 8);
  }

  std::vector<unsigned char> block_;
  char prefix_[kKeySize] = {};
};

// Returns the number in the digits and points after a key; 0 without the key.
int NumberAfter(string_view text, string_view key, unsigned int width) {
  const std::size_t at = text.find(key);
  if (at == string_view::npos) return 0;
  string_view run = text.substr(at + key.size());
  run = run.substr(0, run.find_first_not_of("0123456789."));
  return NumericField(std::string(run).c_str(), width);
}

bool IsDigit(char character) {
  return character >= '0' && character <= '9';
}

}  // namespace

namespace tvl {

bool ReadExecutableVersion(const char* path, Version& result) {
  ExecutableVersion resource(path);
  if (!resource.IsUsable()) return false;
  result = {resource.Number("FileVersion", kVersionWidth), resource.Number("SpecialBuild", kBuildWidth)};
  return true;
}

bool ReadFileVersion(const char* path, Version& result) {
  const LowFile file(path, 0);
  if (!file.IsOpen()) return false;
  char text[kFileSize] = {};
  const unsigned int count = LowRead(file.Handle(), text, kFileSize - 1);
  if (count == 0 || count == kLowFailed) return false;
  result = {NumberAfter(text, "@versione=", kVersionWidth), NumberAfter(text, "@build=", kBuildWidth)};
  return true;
}

bool ReadExecutableVersionText(const char* path, std::string& text) {
  ExecutableVersion resource(path);
  const char* value = resource.IsUsable() ? resource.Text("FileVersion") : nullptr;
  if (value == nullptr) return false;
  text.clear();
  for (char before = 0; *value != 0; before = *value++) {
    if (IsDigit(*value)) {
      text += *value;
    } else if (IsDigit(before)) {
      text += '.';
    }
  }
  return true;
}

}  // namespace tvl
