#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

#include "base/memory.h"
#include "config/config.h"

// The grammar of a value: `$` and the longest run of letters, digits and `_` behind it is a reference; `%$`
// stands for
// `$`; `/` for a backslash; all else for itself. A value without a `$` is left alone whole.

namespace {

using std::string_view;

constexpr std::size_t kLongestExpansion = 4095;
constexpr std::size_t kLongestReference = 31;
constexpr int kExpanded = 1;
constexpr int kExpanding = -1;  // a reference to such a row leads in a circle

bool IsNameCharacter(char character) {
  return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'z') ||
         (character >= 'A' && character <= 'Z') || character == '_';
}

// Takes the name of a reference, which may be empty, off the front of `rest`.
string_view TakeName(string_view& rest) {
  std::size_t length = 0;
  while (length < rest.size() && IsNameCharacter(rest[length])) ++length;
  const string_view name = rest.substr(0, length);
  rest.remove_prefix(length);
  return name;
}

// What an expansion becomes, cut at its greatest length. On the heap: rows expand within rows, thousands deep
// in a file that wants it.
class Output {
 public:
  void Put(string_view text) { text_ += text.substr(0, kLongestExpansion - text_.size()); }
  [[nodiscard]] const char* Text() const { return text_.c_str(); }

 private:
  std::string text_;
};

// The value that a reference stands for; empty for an unknown name, one too long, and a row whose own
// expansion is under way.
string_view Resolve(CConfig& config, string_view name) {
  if (name.size() > kLongestReference) return {};
  char text[kLongestReference + 1] = {};
  name.copy(text, name.size());
  ConfigEntry* entry = config.Find(text);
  if (entry == nullptr || entry->expanded == kExpanding) return {};
  config.Expand(entry);
  return entry->value;
}

}  // namespace

int CConfig::Expand(ConfigEntry* entry) {
  if (entry->expanded == kExpanded) return 0;
  if (std::strchr(entry->value, '$') == nullptr) {
    entry->expanded = kExpanded;
    return 0;
  }
  entry->expanded = kExpanding;
  Output output;
  bool changed = false;
  for (string_view rest = entry->value; !rest.empty();) {
    const char character = rest.front();
    rest.remove_prefix(1);
    if (character == '$') {
      output.Put(Resolve(*this, TakeName(rest)));
      changed = true;
    } else if (character == '%' && !rest.empty() && rest.front() == '$') {
      output.Put("$");
      rest.remove_prefix(1);
    } else {
      output.Put(character == '/' ? "\\" : string_view(&character, 1));
    }
  }
  if (changed) entry->value = StrReplace(entry->value, output.Text());
  entry->expanded = kExpanded;
  return changed ? 1 : 0;
}
