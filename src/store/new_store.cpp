#include "store/new_store.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string_view>

#include "base/fixed_text.h"
#include "platform/files.h"
#include "platform/filesystem_path.h"
#include "platform/last_error.h"
#include "platform/names.h"
#include "platform/shared_folder.h"
#include "store/file_kind.h"
#include "store/held_files.h"
#include "store/host_name.h"
#include "store/layout.h"

namespace tvl {
namespace {

namespace fs = std::filesystem;

// A new store leaves more space for markers than they need today.
constexpr std::size_t kMarkerReserve = 100;
constexpr std::size_t kLongestRoot = kLongestPath - std::string_view("/tmp/procs/").size() - kMarkerReserve;
constexpr char kTooLongForMarkers[] =
    "has a path of more than 148 bytes, which is too long for the names of presence markers";
static_assert(kLongestRoot == 148 && kMarkerReserve >= kLongestMarkerName);

// Why the path cannot be written into a configuration; null if it can.
const char* WhyNotWritable(const std::string& root) {
  for (const char character : root) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < 0x20 || byte == 0x7F) return "has a control character in its path";
    if (character == '\\') return "has a backslash in its path, which a store takes for a separator";
  }
  if (root.empty()) return "has no name";
  if (root.size() > kLongestRoot) return kTooLongForMarkers;
  if (ConfigurationValue(root).size() > kLongestPath) return "has a path too long for a configuration";
  return nullptr;
}

StoreFailure CreateFailure(const char* what, const std::string& path, int error) {
  return {TVL_ERR_CREATE_DIR, what, error, path};
}

// Returns 0 if the name exists, or why it cannot be examined.
int Examine(const char* path) {
  return GetFileAttributesA(path) != INVALID_FILE_ATTRIBUTES ? 0 : LastErrorCode();
}

// What cannot be examined counts as there.
bool Exists(const char* path) {
  const int problem = Examine(path);
  return problem != ENOENT && problem != ENOTDIR;
}

StoreFailure CreateFolder(const std::string& path) {
  TakeLastError();
  if (CreateSharedFolder(path.c_str())) return {};
  const int problem = LastErrorCode();  // 0: the name exists
  std::error_code ignored;
  if (problem == 0 && fs::is_directory(FilesystemPath(path), ignored)) return {};
  return CreateFailure("folder cannot be created", path, problem == 0 ? ENOTDIR : problem);
}

StoreFailure ShareRoot(const std::string& root, int group) {
  if (ShareWithGroup(root.c_str(), group)) return {};
  return CreateFailure("group cannot be set; only its members may", root, LastErrorCode());
}

StoreFailure CreateRoot(const std::string& root, int group) {
  std::error_code problem;
  fs::create_directories(FilesystemPath(root), problem);
  if (problem)
    return CreateFailure("folder cannot be created", root, problem.default_error_condition().value());
  return group < 0 ? StoreFailure() : ShareRoot(root, group);
}

std::string ConfigurationText(const std::string& root) {
  return std::string("; A store of the Tavolis File System.\n[") + kMainSection + "]\n" + kDocumentRootKey +
         "=" + ConfigurationValue(root) + "\n" + kZipKey + "=0\n" + kSafetyKey + "=2\n";
}

// Half a file would prevent the next attempt, so CreateSharedFile leaves none.
StoreFailure WriteNewFile(const std::string& path, const std::string& text, const char* not_created) {
  if (CreateSharedFile(path.c_str(), text)) return {};
  return {TVL_ERR_SERVER_FILE, not_created, LastErrorCode(), path};
}

StoreFailure WriteTablesFile(const TVLStoreLayout& layout, const TVLDatabase& database) {
  const std::string id = NewId();
  if (id.empty()) return {TVL_ERR_SERVER_FILE, "the store gets no id", LastErrorCode(), {}};
  std::string text = "; The tables of this store are in a PostgreSQL server: man tables.ini\n";
  text += std::string("engine=postgresql\nservice=") + database.service + "\nschema=" + database.schema +
          "\nstore=" + id + '\n';
  if (database.acceptsAsynchronousLocks != 0) text += "locks=asynchronous-accepted\n";
  return WriteNewFile(TablesFileOf(layout), text, "tables.ini cannot be created");
}

StoreFailure AddLockTable(const TVLStoreLayout& layout, CreateLockTable create_table) {
  const int problem = Examine(layout.lockTable);
  if (problem == 0) return {};
  if (problem != ENOENT)
    return {TVL_ERR_SERVER_FILE, "the lock table cannot be examined", problem, layout.lockTable};
  TakeLastError();
  if (create_table(layout.lockTable)) return {};
  const LastError reason = TakeLastError();
  return {TVL_ERR_DELETE_FILE,
          "the lock table cannot be created; is the table engine installed next to the library?", reason.code,
          reason.path};
}

// A new configuration without a lock table would prevent the next attempt.
StoreFailure WriteFiles(const TVLStoreLayout& layout, const TVLDatabase* database,
                        CreateLockTable create_table) {
  if (layout.isNew == 0) return AddLockTable(layout, create_table);
  if (StoreFailure failure = WriteNewFile(layout.configuration, ConfigurationText(layout.root),
                                          "configuration cannot be created"))
    return failure;
  StoreFailure failure = database == nullptr ? StoreFailure() : WriteTablesFile(layout, *database);
  const bool has_tables_file = database != nullptr && !failure;
  if (!failure) failure = AddLockTable(layout, create_table);
  if (failure && has_tables_file) DeleteFileA(TablesFileOf(layout).c_str());
  if (failure) DeleteFileA(layout.configuration);
  return failure;
}

StoreFailure CheckNobodyIsConnected(const TVLStoreLayout& layout) {
  for (const std::string& path : HeldFilesAt(layout.procs)) {
    if (FileKindOf(path) != TVL_FILE_MARKER) continue;
    return {TVL_ERR_STORE_IN_USE, "clients are connected, and may use what is missing here; end them first",
            0, path};
  }
  return {};
}

}  // namespace

std::string FullPath(const std::string& folder) {
  std::error_code problem;
  fs::path path = fs::absolute(FilesystemPath(folder), problem);
  if (problem) return {};
  const bool leads_upward = std::find(path.begin(), path.end(), "..") != path.end();
  path = leads_upward ? fs::weakly_canonical(path, problem) : path.lexically_normal();
  return TextOf(path.has_filename() ? path : path.parent_path());
}

// A blank at the end would be trimmed, so such a value is quoted. A "$" begins a reference; "%$" means one,
// but only in a value that has a reference as well. A "$" before the first slash refers to nothing and makes
// it such a value.
std::string ConfigurationValue(const std::string& root) {
  std::string value;
  for (const char character : root) {
    if (character == '$') value += '%';
    value += character;
  }
  if (value != root) value.insert(0, 1, '$');
  return value.back() == ' ' ? "\"" + value + "\"" : value;
}

StoreFailure PlanStore(const std::string& folder, TVLStoreLayout& layout) {
  layout = {};
  const std::string root = folder.empty() ? folder : FullPath(folder);
  const std::string configuration = InHostFolder(root, kConfigurationName);
  const int problem = root.empty() ? ENOENT : Examine(configuration.c_str());
  if (problem == 0 && CopyPath(layout.configuration, configuration))
    return {TVL_ERR_STORE_EXISTS, "a configuration exists", 0, configuration};
  if (const char* why = WhyNotWritable(root)) return {TVL_ERR_BAD_PATH, why, 0, {}};
  if (problem != ENOENT)
    return {TVL_ERR_SERVER_FILE, "a store cannot be created there", problem, configuration};
  StoreFailure failure = DescribeStore(configuration, root, InHostFolder(root, kTmpName), layout);
  layout.safety = 2;
  layout.isNew = 1;
  return failure;
}

StoreFailure DescribeStore(const std::string& configuration, const std::string& root, const std::string& tmp,
                           TVLStoreLayout& layout) {
  layout = {};
  const std::string locks = InHostFolder(tmp, kLocksName);
  const std::string procs = InHostFolder(tmp, kProcsName);
  bool fits = CopyPath(layout.configuration, configuration);
  fits = CopyPath(layout.configurationLock, configuration + kConfigurationLockSuffix) && fits;
  fits = CopyPath(layout.root, root) && fits;
  fits = CopyPath(layout.tmp, tmp) && fits;
  fits = CopyPath(layout.locks, locks) && fits;
  fits = CopyPath(layout.procs, procs) && fits;
  fits = CopyPath(layout.lockTable, InHostFolder(locks, kLockTableName)) && fits;
  if (fits && procs.size() + 1 + kLongestMarkerName <= kLongestPath) return {};
  return {TVL_ERR_BAD_PATH, "the path is too long for the names of presence markers", 0, procs};
}

std::vector<std::string> MissingParts(const TVLStoreLayout& layout) {
  std::vector<std::string> missing;
  for (const char* part :
       {layout.root, layout.tmp, layout.locks, layout.procs, layout.configuration, layout.lockTable}) {
    if (!Exists(part)) missing.emplace_back(part);
  }
  return missing;
}

std::string TablesFileOf(const TVLStoreLayout& layout) {
  return TextOf(FilesystemPath(layout.configuration).replace_filename(kTablesFileName));
}

StoreFailure CreateMissingParts(const TVLStoreLayout& layout, int group, const TVLDatabase* database,
                                CreateLockTable create_table) {
  if (MissingParts(layout).empty()) return {};
  if (StoreFailure failure = CheckNobodyIsConnected(layout)) return failure;
  if (StoreFailure failure = CreateRoot(layout.root, group)) return failure;
  for (const char* folder : {layout.tmp, layout.locks, layout.procs}) {
    if (StoreFailure failure = CreateFolder(folder)) return failure;
  }
  return WriteFiles(layout, database, create_table);
}

}  // namespace tvl
