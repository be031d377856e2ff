#include "engine/permission.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <mutex>

#include "engine/last_error.h"
#include "engine/system.h"
#include "engine/table_file.h"

namespace tvl::engine {
namespace {

using std::string_view;

constexpr std::size_t kLongestFile = 4096;
constexpr std::size_t kLongestName = 63;  // of a service, and of an identifier of PostgreSQL
constexpr std::size_t kStoreIdLength = 32;

constexpr string_view kLower = "abcdefghijklmnopqrstuvwxyz";
constexpr string_view kUpper = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr string_view kDigits = "0123456789";
constexpr string_view kBlanks = " \t\r";

bool ConsistsOf(string_view text, std::initializer_list<string_view> alphabets) {
  return std::all_of(text.begin(), text.end(), [&](char letter) {
    return std::any_of(alphabets.begin(), alphabets.end(),
                       [letter](string_view alphabet) { return alphabet.find(letter) != string_view::npos; });
  });
}

bool HasLength(string_view text, std::size_t most) {
  return !text.empty() && text.size() <= most;
}

bool TakeEngine(Permission& /*permission*/, string_view value) {
  return value == "postgresql";
}

bool TakeService(Permission& permission, string_view value) {
  permission.service = value;
  return HasLength(value, kLongestName) && ConsistsOf(value, {kLower, kUpper, kDigits, "_-"});
}

bool TakeSchema(Permission& permission, string_view value) {
  permission.schema = value;
  return HasLength(value, kLongestName) && ConsistsOf(value, {kLower, kDigits, "_"}) &&
         kDigits.find(value.front()) == string_view::npos;
}

bool TakeStore(Permission& permission, string_view value) {
  permission.store = value;
  return value.size() == kStoreIdLength && ConsistsOf(value, {kDigits, "abcdef"});
}

bool TakeLocks(Permission& permission, string_view value) {
  permission.asynchronous_locks = value == "asynchronous-accepted";
  return permission.asynchronous_locks;
}

constexpr struct Setting {
  string_view key;
  bool (*take)(Permission& permission, string_view value);
  bool is_required;
} kSettings[] = {
    {"engine", TakeEngine, true}, {"service", TakeService, true}, {"schema", TakeSchema, true},
    {"store", TakeStore, true},   {"locks", TakeLocks, false},
};

string_view Trimmed(string_view text) {
  const std::size_t start = std::min(text.find_first_not_of(kBlanks), text.size());
  text.remove_prefix(start);
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

class Parser {
 public:
  // Returns false for a line that is not a comment, blank, or a valid setting.
  bool TakeLine(string_view line) {
    line = Trimmed(line);
    if (line.empty() || line.front() == ';' || line.front() == '#') return true;
    const std::size_t equals = line.find('=');
    if (equals == string_view::npos) return false;
    const string_view key = Trimmed(line.substr(0, equals));
    const auto* setting = std::find_if(std::begin(kSettings), std::end(kSettings),
                                       [key](const Setting& known) { return known.key == key; });
    if (setting == std::end(kSettings)) return false;
    bool& is_set = is_set_[setting - kSettings];
    if (is_set) return false;
    is_set = true;
    return setting->take(permission_, Trimmed(line.substr(equals + 1)));
  }

  // Returns the first setting that is required and missing, or an empty text.
  [[nodiscard]] string_view Missing() const {
    for (std::size_t i = 0; i < std::size(kSettings); ++i) {
      if (kSettings[i].is_required && !is_set_[i]) return kSettings[i].key;
    }
    return {};
  }

  [[nodiscard]] const Permission& Result() const { return permission_; }

 private:
  Permission permission_;
  bool is_set_[std::size(kSettings)] = {};
};

// The files by folder. Never destroyed, because tables are opened while the process exits.
struct Files {
  std::mutex mutex;
  std::map<std::string, std::string> by_folder;
};

Files& AllFiles() {
  static Files& files = *new Files;
  return files;
}

// Returns the file of the innermost folder that contains `path`, or an empty text.
std::string FileFor(std::string path) {
  Files& files = AllFiles();
  const std::lock_guard guard(files.mutex);
  for (std::size_t slash = path.rfind('/'); slash != std::string::npos; slash = path.rfind('/')) {
    path.erase(slash);
    const auto found = files.by_folder.find(path);
    if (found != files.by_folder.end()) return found->second;
  }
  return {};
}

// Returns 0 or an errno value.
int ReadAll(const std::string& path, std::string& text) {
  const int problem = ReadStart(path, kLongestFile + 1, text);
  return problem == 0 && text.size() > kLongestFile ? EFBIG : problem;
}

}  // namespace

std::optional<Permission> ParsePermission(string_view text, std::string& problem) {
  Parser parser;
  for (int number = 1; !text.empty(); ++number) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    if (!parser.TakeLine(text.substr(0, end))) {
      problem = "line " + std::to_string(number) + " of tables.ini is not a valid setting";
      return std::nullopt;
    }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  if (const string_view missing = parser.Missing(); !missing.empty()) {
    problem = "tables.ini has no setting '" + std::string(missing) + "'";
    return std::nullopt;
  }
  return parser.Result();
}

void PermitTables(const std::string& folder, const std::string& file) {
  Files& files = AllFiles();
  const std::string real_folder = RealFolder(folder);
  std::string real_file = file;
  std::replace(real_file.begin(), real_file.end(), '\\', '/');
  real_file = RealFolder(FolderOfFile(real_file)) + '/' + real_file.substr(real_file.rfind('/') + 1);
  const std::lock_guard guard(files.mutex);
  files.by_folder[real_folder] = real_file;
}

bool FindPermission(const std::string& path, std::optional<Permission>& permission) {
  permission.reset();
  const std::string file = FileFor(path);
  if (file.empty()) return true;
  std::string text;
  const int failure = ReadAll(file, text);
  if (failure == ENOENT || failure == ENOTDIR) return true;
  std::string problem;
  if (failure == 0) permission = ParsePermission(text, problem);
  if (permission) return true;
  errno = failure;
  if (failure != 0) {
    NoteSystemError("tables.ini cannot be read");
  } else {
    NoteError(problem.c_str());
  }
  return false;
}

}  // namespace tvl::engine
