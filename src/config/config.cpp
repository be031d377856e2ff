#include "config/config.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <tvlclient/errors.h>

#include "base/file_helpers.h"
#include "base/fixed_text.h"
#include "base/memory.h"
#include "base/path_helpers.h"
#include "base/text.h"
#include "platform/ini_file.h"
#include "platform/ini_line.h"
#include "platform/names.h"
#include "platform/shared_folder.h"
#include "store/layout.h"

namespace {

using std::string_view;

constexpr int kChunk = 4;
constexpr DWORD kSectionSize = 32768;

struct NamedPolicy {
  const char* name;
  int policy;
};

constexpr int kHashPolicy = 1;
constexpr NamedPolicy kPolicies[] = {
    {"dumb", 0}, {"hash", kHashPolicy}, {"time", 2}};  // any other text means hash
constexpr int kSafest = 2;

struct NamedDefault {
  const char* key;
  const char* otherwise;
};

constexpr NamedDefault kNames[] = {{"ShortName", "TFS"}, {"LongName", "Tavolis File System"}};

// The text of a key of the main section.
class MainKey {
 public:
  MainKey(const char* key, const char* otherwise, const tvl::IniFile& file) {
    file.Text(tvl::kMainSection, key, otherwise, text_, sizeof text_);
  }
  [[nodiscard]] const char* Text() const { return text_; }

 private:
  char text_[tvl::kMaxPath];
};

bool IsNumber(string_view text, int most) {
  int number = 0;
  const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number);
  return problem == std::errc() && end == text.data() + text.size() && number >= 0 && number <= most;
}

bool IsPolicy(string_view text) {
  return std::any_of(std::begin(kPolicies), std::end(kPolicies),
                     [&](const NamedPolicy& row) { return tvl::SameIniName(row.name, text); });
}

// The keys of the main section, with the values that have a meaning.
struct KnownKey {
  const char* name;
  bool (*knows)(string_view value);
};
constexpr KnownKey kKnownKeys[] = {
    {tvl::kCompareKey, IsPolicy},
    {tvl::kZipKey, [](string_view value) { return IsNumber(value, std::numeric_limits<int>::max()); }},
    {tvl::kSafetyKey, [](string_view value) { return IsNumber(value, kSafest); }},
    {tvl::kDocumentRootKey, [](string_view value) { return !value.empty(); }},
    {tvl::kTmpDirKey, [](string_view value) { return !value.empty(); }},
    {kNames[0].key, [](string_view) { return true; }},
    {kNames[1].key, [](string_view) { return true; }},
};

// What is wrong with a line of the main section, if anything.
std::optional<TVL_CONFIG_PROBLEM> ProblemOf(const tvl::IniKeyLine& line) {
  for (const KnownKey& key : kKnownKeys) {
    if (!tvl::SameIniName(key.name, line.name)) continue;
    if (key.knows(line.value)) return std::nullopt;
    return TVL_CONFIG_USELESS_VALUE;
  }
  return TVL_CONFIG_UNKNOWN_KEY;
}

int CompareNames(const void* a, const void* b) {
  return tvl::CompareNoCase(static_cast<const ConfigEntry*>(a)->name,
                            static_cast<const ConfigEntry*>(b)->name);
}

// Stores `base`, `name` and a backslash in a field. Returns false without changing the field if this does not
// fit.
bool SubFolder(const char* base, const char* name, char (&field)[tvl::kMaxPath]) {
  tvl::PathText path;
  path.Append(base).Append(name).Append("\\");
  return path.Fits() && tvl::CopyPath(field, path.View());
}

}  // namespace

CConfig::CConfig(const char* file)
    : iniFile{},
      entries(nullptr),
      entryCount(0),
      status(TVL_ERR_NO_CONFIG),
      zipOnTransfert(0),
      fileCompare(kHashPolicy),
      sorted(0),
      tmpDir{},
      locksDir{},
      procsDir{},
      documentRoot{},
      emptyValue{},
      safe_on_transfert(0),
      computer_{} {
  if (file != nullptr && *file != 0) Load(file);
}

CConfig::CConfig(const CConfig& other) : CConfig() {
  *this = other;
}

CConfig& CConfig::operator=(const CConfig& other) {
  if (this == &other) return *this;
  Clear();
  zipOnTransfert = other.zipOnTransfert;
  fileCompare = other.fileCompare;
  safe_on_transfert = other.safe_on_transfert;
  std::memcpy(iniFile, other.iniFile, sizeof iniFile);
  std::memcpy(tmpDir, other.tmpDir, sizeof tmpDir);
  std::memcpy(locksDir, other.locksDir, sizeof locksDir);
  std::memcpy(procsDir, other.procsDir, sizeof procsDir);
  std::memcpy(documentRoot, other.documentRoot, sizeof documentRoot);
  return *this;
}

CConfig::~CConfig() {
  Clear();
}

void CConfig::Clear() {
  for (int row = 0; row < entryCount; ++row) {
    SafeFree(entries[row].name);
    SafeFree(entries[row].value);
  }
  entries = static_cast<ConfigEntry*>(SafeFree(entries));
  entryCount = 0;
  status = TVL_ERR_NO_CONFIG;
  sorted = 0;
  tmpDir[0] = 0;
}

ConfigEntry* CConfig::Find(const char* name) {
  if (entries == nullptr) return nullptr;
  const auto count = static_cast<std::size_t>(entryCount);
  if (sorted != 0) {
    const ConfigEntry wanted = {const_cast<char*>(name), nullptr, 0, nullptr};
    return static_cast<ConfigEntry*>(std::bsearch(&wanted, entries, count, sizeof *entries, CompareNames));
  }
  ConfigEntry* end = entries + count;
  ConfigEntry* found =
      std::find_if(entries, end, [&](const ConfigEntry& row) { return tvl::EqualNoCase(row.name, name); });
  return found == end ? nullptr : found;
}

ConfigEntry* CConfig::Set(const char* name, const char* value) {
  ConfigEntry* entry = Find(name);
  if (entry == nullptr) {
    entries = static_cast<ConfigEntry*>(GrowArray(entries, entryCount, sizeof *entries, kChunk));
    entry = &entries[entryCount];
    entry->name = StrDup(name);
    ++entryCount;
    sorted = 0;
  }
  entry->value = StrReplace(entry->value, value);
  return entry;
}

char* CConfig::Get(const char* name) {
  ConfigEntry* entry = Find(name);
  return entry == nullptr || entry->value == nullptr ? emptyValue : entry->value;
}

int CConfig::Fail(int code) {
  status = code;
  return code;
}

void CConfig::ReadSettings(const tvl::IniFile& file) {
  zipOnTransfert = file.Number(tvl::kMainSection, tvl::kZipKey, 1);
  safe_on_transfert = std::clamp(file.Number(tvl::kMainSection, tvl::kSafetyKey, 0), 0, kSafest);
  const MainKey policy(tvl::kCompareKey, "HASH", file);
  for (const NamedPolicy& row : kPolicies) {
    if (tvl::EqualNoCase(policy.Text(), row.name)) fileCompare = row.policy;
  }
}

void CConfig::ReadVariables(const tvl::IniFile& file, const char* section) {
  std::vector<char> lines(kSectionSize);
  file.Section(section, lines.data(), kSectionSize);
  for (char* line = lines.data(); *line != 0;) {
    char* next = line + std::strlen(line) + 1;
    if (char* equals = std::strchr(line, '=')) {
      *equals = 0;
      Set(line, equals + 1)->origin = section;
    }
    line = next;
  }
}

// Sets a variable from the main section, or to `otherwise`.
void CConfig::SetFromMain(const tvl::IniFile& file, const char* key, const char* otherwise) {
  ConfigEntry* row = Set(key, MainKey(key, otherwise, file).Text());
  row->origin = file.Has(tvl::kMainSection, key) ? tvl::kMainSection : nullptr;
}

// If the variables do not set DocumentRoot, the main section is used, and then only its TmpDir counts.
int CConfig::ReadRoot(const tvl::IniFile& file) {
  if (Find(tvl::kDocumentRootKey) != nullptr) return TVL_OK;
  const MainKey root(tvl::kDocumentRootKey, "", file);
  if (*root.Text() == 0) return TVL_ERR_ROOT_UNDEFINED;
  SetFromMain(file, tvl::kDocumentRootKey, "");
  SetFromMain(file, tvl::kTmpDirKey, tvl::kDefaultTmpDir);
  return TVL_OK;
}

void CConfig::Sort() {
  if (entryCount < 2) return;
  std::qsort(entries, static_cast<std::size_t>(entryCount), sizeof *entries, CompareNames);
  sorted = 1;
}

int CConfig::ReadTable(const char* path, tvl::IniFile& file) {
  Clear();
  zipOnTransfert = 0;
  safe_on_transfert = 0;
  fileCompare = kHashPolicy;
  if (!tvl::CopyPath(iniFile, path)) return TVL_ERR_ROOT_UNDEFINED;
  // A file that was read only in part might describe another store or another policy.
  if (file.Read(iniFile) != 0) return TVL_ERR_ROOT_UNDEFINED;
  DWORD size = sizeof computer_;
  GetComputerNameA(computer_, &size);
  tvl::ToLower(computer_);
  ReadSettings(file);
  ReadVariables(file, tvl::kVariablesSection);
  ReadVariables(file, computer_);
  if (const int code = ReadRoot(file)) return code;
  Sort();
  for (int row = 0; row < entryCount; ++row) Expand(&entries[row]);
  return TVL_OK;
}

int CConfig::SettleRoot() {
  if (!tvl::CopyPath(documentRoot, Get(tvl::kDocumentRootKey))) return TVL_ERR_ROOT_INVALID;
  CreateDirectoryA(documentRoot, nullptr);
  return IsDirectory(documentRoot) != 0 ? TVL_OK : TVL_ERR_ROOT_INVALID;
}

int CConfig::SettleTmpDir() {
  if (Find(tvl::kTmpDirKey) == nullptr) return TVL_ERR_TMP_UNDEFINED;
  if (!tvl::CopyPath(tmpDir, Get(tvl::kTmpDirKey))) return TVL_ERR_TMP_INVALID;
  tvl::CreateSharedFolder(tmpDir);
  if (IsDirectory(tmpDir) == 0 || !NameSubFolders()) return TVL_ERR_TMP_INVALID;
  tvl::CreateSharedFolder(locksDir);
  tvl::CreateSharedFolder(procsDir);
  return TVL_OK;
}

bool CConfig::NameSubFolders() {
  return AddTrailingBackslash(tmpDir) != 0 && SubFolder(tmpDir, tvl::kLocksName, locksDir) &&
         SubFolder(tmpDir, tvl::kProcsName, procsDir);
}

void CConfig::ReadNames(const tvl::IniFile& file) {
  for (const NamedDefault& name : kNames) SetFromMain(file, name.key, name.otherwise);
}

int CConfig::Load(const char* path) {
  tvl::IniFile file;
  if (const int code = ReadTable(path, file)) return Fail(code);
  if (const int code = SettleRoot()) return Fail(code);
  if (const int code = SettleTmpDir()) return Fail(code);
  ReadNames(file);
  status = TVL_OK;
  return TVL_OK;
}

int CConfig::Read(const char* path) {
  tvl::IniFile file;
  if (const int code = ReadTable(path, file)) return code;
  ReadNames(file);
  if (Find(tvl::kTmpDirKey) == nullptr) return TVL_ERR_TMP_UNDEFINED;
  const bool named = tvl::CopyPath(tmpDir, Get(tvl::kTmpDirKey)) && *tmpDir != 0 && NameSubFolders();
  return named ? TVL_OK : TVL_ERR_TMP_INVALID;
}

int CConfig::Check(const char* path, const ProblemVisitor& visit) {
  on_problem_ = visit;
  const int code = Read(path);
  on_problem_ = nullptr;
  tvl::IniFile file;
  if (file.Read(path) != 0) return code;
  file.VisitSection(tvl::kMainSection, [&](const tvl::IniKeyLine& line) {
    if (const auto problem = ProblemOf(line))
      visit(*problem, std::string(line.name).c_str(), std::string(line.value).c_str());
    return true;
  });
  return code;
}

void CConfig::Report(TVL_CONFIG_PROBLEM problem, const char* key, std::string_view text) const {
  if (on_problem_) on_problem_(problem, key, std::string(text).c_str());
}
