#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "base/memory.h"
#include "config/config.h"

// The grammar of a value: `$` and the longest following run of letters, digits and `_` is a reference; `%$`
// means `$`; `/` means a backslash; any other character means itself. A value without a `$` is not changed.

namespace {

using std::string_view;

constexpr std::size_t kLongestExpansion = 4095;
constexpr std::size_t kLongestReference = 31;
constexpr int kExpanded = 1;
constexpr int kExpanding = -1;  // a reference to such a row is circular and expands to an empty text

bool IsNameCharacter(char character) {
  return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'z') ||
         (character >= 'A' && character <= 'Z') || character == '_';
}

// Removes the name of a reference, which may be empty, from the front of `rest`, and returns it.
string_view TakeName(string_view& rest) {
  std::size_t length = 0;
  while (length < rest.size() && IsNameCharacter(rest[length])) ++length;
  const string_view name = rest.substr(0, length);
  rest.remove_prefix(length);
  return name;
}

// The expansion of one row in progress.
class Expansion {
 public:
  explicit Expansion(ConfigEntry* entry) : entry_(entry), rest_(entry->value) {
    entry_->expanded = kExpanding;
  }

  // Continues to the end or to a reference. Returns true at a reference and stores its name.
  bool FindReference(string_view& name) {
    while (!rest_.empty()) {
      const char character = rest_.front();
      rest_.remove_prefix(1);
      if (character == '$') {
        name = TakeName(rest_);
        changed_ = true;
        return true;
      }
      if (character == '%' && rest_.starts_with('$')) {
        Put("$");
        rest_.remove_prefix(1);
      } else {
        Put(character == '/' ? "\\" : string_view(&character, 1));
      }
    }
    return false;
  }

  // Appends `text`, up to the maximum length of an expansion.
  void Put(string_view text) { output_ += text.substr(0, kLongestExpansion - output_.size()); }

  // Returns 1 if the row has a new value.
  int Finish() {
    if (changed_) entry_->value = StrReplace(entry_->value, output_.c_str());
    entry_->expanded = kExpanded;
    return changed_ ? 1 : 0;
  }

  [[nodiscard]] const char* Name() const { return entry_->name; }
  [[nodiscard]] const char* Value() const { return entry_->value; }

 private:
  ConfigEntry* entry_;
  string_view rest_;
  std::string output_;
  bool changed_ = false;
};

// Returns the row of a reference; null for a name that is unknown or too long.
ConfigEntry* Referred(CConfig& config, string_view name) {
  if (name.size() > kLongestReference) return nullptr;
  char text[kLongestReference + 1] = {};
  name.copy(text, name.size());
  return config.Find(text);
}

// Returns true if the row must be expanded. A row without a reference counts as expanded.
bool NeedsExpansion(ConfigEntry* entry) {
  if (entry->expanded == kExpanded) return false;
  if (std::strchr(entry->value, '$') != nullptr) return true;
  entry->expanded = kExpanded;
  return false;
}

}  // namespace

// Expands referenced rows first. The rows that wait for them are kept in a list and not on the stack, because
// a file may chain thousands of references.
int CConfig::Expand(ConfigEntry* entry) {
  if (!NeedsExpansion(entry)) return 0;
  std::vector<Expansion> waiting = {Expansion(entry)};
  for (;;) {
    string_view name;
    if (waiting.back().FindReference(name)) {
      ConfigEntry* referred = Referred(*this, name);
      if (referred == nullptr) {
        Report(TVL_CONFIG_UNDEFINED_NAME, waiting.back().Name(), name);
        continue;
      }
      if (referred->expanded == kExpanding) {
        Report(TVL_CONFIG_CIRCULAR_NAME, waiting.back().Name(), name);
        continue;
      }
      if (NeedsExpansion(referred)) {
        waiting.emplace_back(referred);
      } else {
        waiting.back().Put(referred->value);
      }
      continue;
    }
    const int changed = waiting.back().Finish();
    const char* value = waiting.back().Value();
    waiting.pop_back();
    if (waiting.empty()) return changed;
    waiting.back().Put(value);
  }
}
