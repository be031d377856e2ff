#include "cli/new_store.h"

#include <fcntl.h>
#include <grp.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <string_view>

#include <tvlclient/errors.h>
#include <tvlclient/smb_opr.h>

#include "cli/configuration.h"
#include "cli/failure.h"
#include "cli/held_files.h"
#include "cli/text.h"
#include "host/descriptor.h"
#include "host/sync.h"
#include "host/write_all.h"

namespace tvl::cli {
namespace {

namespace fs = std::filesystem;

constexpr char kConfigurationName[] = "tvl.ini";
constexpr char kLockTableName[] = "dtlocks.dat";
constexpr mode_t kReadWrite = 0666;
constexpr mode_t kShared = 02777;  // what a new folder takes from the one above
constexpr std::size_t kLongestPath = 259;
constexpr std::size_t kMarkerReserve = 100;
constexpr std::size_t kLongestRoot = kLongestPath - std::string_view("/tmp/procs/").size() - kMarkerReserve;

// A path without "." and doubled slashes. Only one with ".." is looked up, because a link before it decides
// where it leads; elsewhere the user's own form of the path is what other computers see too.
std::string FullPath(const std::string& folder) {
  fs::path path = fs::absolute(folder);
  const bool leads_upward = std::find(path.begin(), path.end(), "..") != path.end();
  path = leads_upward ? fs::weakly_canonical(path) : path.lexically_normal();
  return path.has_filename() ? path.string() : path.parent_path().string();
}

// Why the path cannot be written into a configuration, or nothing.
std::string WhyNotWritable(const std::string& root) {
  for (const char character : root) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < 0x20 || byte == 0x7F) return "has a control character in its path";
    if (character == '\\') return "has a backslash in its path, which a store takes for a separator";
  }
  if (root.size() > kLongestRoot)
    return "has a path of more than " + std::to_string(kLongestRoot) +
           " bytes, which is too long for the names of presence markers";
  if (ConfigurationValue(root).size() > kLongestPath) return "has a path too long for a configuration";
  return {};
}

[[noreturn]] void Fail(const std::string& what, const std::string& path, int error) {
  throw Stop({}, {kFailed, 0, what, error, path});
}

std::string FolderAbove(const std::string& path) {
  return fs::path(path).parent_path().string();
}

bool Exists(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0;
}

// Gives something just created the bits of its folder, whatever the umask: everyone who works in that folder
// must be able to open it. Bits that are right are not set again: for someone outside the folder's group that
// would clear the setgid bit.
void TakeModeOf(const std::string& folder, mode_t bits, int descriptor, const std::string& path) {
  struct stat above = {};
  struct stat created = {};
  if (stat(folder.c_str(), &above) != 0 || fstat(descriptor, &created) != 0)
    Fail("mode cannot be read", path, errno);
  const mode_t wanted = above.st_mode & bits;
  if ((created.st_mode & 07777U) != wanted && fchmod(descriptor, wanted) != 0)
    Fail("mode cannot be set", path, errno);
}

void CreateFolder(const std::string& path) {
  if (mkdir(path.c_str(), 0777) != 0) {
    if (errno == EEXIST && fs::is_directory(path)) return;
    Fail("folder cannot be created", path, errno);
  }
  const Descriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder.IsOpen()) Fail("folder cannot be opened", path, errno);
  TakeModeOf(FolderAbove(path), kShared, folder.Get(), path);
}

// A group by its name or number.
gid_t GroupNumber(const std::string& group) {
  if (const struct group* found = getgrnam(group.c_str())) return found->gr_gid;
  gid_t number = 0;
  const auto [end, problem] = std::from_chars(group.data(), group.data() + group.size(), number);
  if (problem != std::errc() || end != group.data() + group.size())
    throw Stop("there is no group '" + group + "'");
  return number;
}

void ShareWithGroup(const std::string& root, const std::string& group) {
  struct stat status = {};
  if (stat(root.c_str(), &status) != 0) Fail("mode cannot be read", root, errno);
  if (chown(root.c_str(), static_cast<uid_t>(-1), GroupNumber(group)) != 0)
    Fail("group cannot be set; only its members may", root, errno);
  if (chmod(root.c_str(), (status.st_mode & 07777U) | 02070U) != 0) Fail("mode cannot be set", root, errno);
}

void CreateRoot(const StoreLayout& layout, const std::string& group) {
  std::error_code problem;
  fs::create_directories(layout.root, problem);
  if (problem) Fail("folder cannot be created", layout.root, problem.value());
  if (!group.empty()) ShareWithGroup(layout.root, group);
}

void WriteConfiguration(const StoreLayout& layout) {
  const std::string& path = layout.configuration;
  const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kReadWrite));
  if (!file.IsOpen()) Fail("configuration cannot be created", path, errno);
  const std::string text = "; A store of the Tavolis File System.\n[TavolisFileSystem]\nDocumentRoot=" +
                           ConfigurationValue(layout.root) + "\nZipOnTransfert=0\nSafeOnTransfert=2\n";
  int error = WriteAll(file.Get(), text.data(), text.size());
  if (error == 0) error = Sync(file.Get());
  if (error != 0) {
    unlink(path.c_str());  // half a configuration would prevent the next attempt
    Fail("configuration cannot be written", path, error);
  }
  TakeModeOf(layout.root, kReadWrite, file.Get(), path);
}

// Creates the lock table; its lengths are those of a lock row and of its key. Names of tables are relative to
// the root, also where the temporary folder is elsewhere.
int CreateLockTable(const StoreLayout& layout) {
  constexpr int kRecord = 154;
  constexpr int kKey = 82;
  char in_place[260] = "";
  std::string file = layout.configuration;
  char client_class[] = "tvlc";
  std::string table = fs::path(layout.lock_table).lexically_relative(layout.root).string();
  CTVLClientSmbOpr store;
  ForgetFileErrors();
  int handle = 0;
  const int code = store.Open(in_place, file.data(), client_class);
  return code == TVL_OK ? store.CTFileInit(table.data(), handle, kRecord, kKey, 0) : code;
}

void AddLockTable(const StoreLayout& layout) {
  const int code = CreateLockTable(layout);
  if (code == TVL_OK) return;
  if (layout.is_new) unlink(layout.configuration.c_str());  // would prevent the next attempt
  Failure failure = LibraryFailure(code);
  failure.what = "the lock table cannot be created; is vbctree.so installed next to the library?";
  throw Stop({}, failure);
}

void CheckNobodyIsConnected(const StoreLayout& layout) {
  std::vector<HeldFile> markers;
  for (const HeldFile& file : HeldFilesAt(layout.procs)) {
    if (file.path.ends_with(".tvp")) markers.push_back(file);
  }
  if (markers.empty()) return;
  throw Stop(layout.root,
             {kHeld, 0, "clients are connected, and may use what is missing here; end them first", 0,
              markers.front().path});
}

StoreLayout LayoutWith(const std::string& configuration, const std::string& root, const std::string& tmp) {
  const std::string locks = Joined(tmp, "locks");
  return {configuration, root, tmp, locks, Joined(tmp, "procs"), Joined(locks, kLockTableName), false};
}

// A variable of a configuration that has been read, as a path of this system.
std::string FolderVariable(const CTVLClientSmbOpr& store, const char* name) {
  for (int index = 0; index < store.ConfigCount(); ++index) {
    if (strcasecmp(store.ConfigName(index), name) == 0) return HostFolder(store.ConfigValue(index));
  }
  return {};
}

}  // namespace

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

StoreLayout NewLayout(const std::string& folder) {
  const std::string root = FullPath(folder);
  const std::string why = folder.empty() ? "has no name" : WhyNotWritable(root);
  if (!why.empty()) throw Stop(folder, {kFailed, 0, why, 0, {}});
  StoreLayout layout = LayoutWith(Joined(root, kConfigurationName), root, Joined(root, "tmp"));
  struct stat status = {};
  if (lstat(layout.configuration.c_str(), &status) == 0)
    Fail("a configuration exists; --missing creates what a store lacks", layout.configuration, 0);
  if (errno != ENOENT) Fail("a store cannot be created there", layout.configuration, errno);
  layout.is_new = true;
  return layout;
}

StoreLayout LayoutOf(const std::string& configuration) {
  CTVLClientSmbOpr store;
  ForgetFileErrors();
  if (const int code = store.ReadConfig(configuration.c_str()))
    throw Stop(configuration, ConfigurationFailure(code));
  StoreLayout layout =
      LayoutWith(configuration, FolderVariable(store, "DocumentRoot"), FolderVariable(store, "TmpDir"));
  if (layout.procs.size() + 1 + kLongestMarkerName > kLongestPath)
    Fail("the path is too long for the names of presence markers", layout.procs, 0);
  return layout;
}

StoreLayout LayoutAt(const std::string& folder) {
  const std::string configuration = Joined(folder, kConfigurationName);
  return Exists(configuration) ? LayoutOf(configuration) : NewLayout(folder);
}

std::vector<std::string> MissingParts(const StoreLayout& layout) {
  std::vector<std::string> missing;
  for (const std::string* part :
       {&layout.root, &layout.tmp, &layout.locks, &layout.procs, &layout.configuration, &layout.lock_table}) {
    if (!Exists(*part)) missing.push_back(*part);
  }
  return missing;
}

void CreateMissingParts(const StoreLayout& layout, const std::string& group) {
  if (MissingParts(layout).empty()) return;
  CheckNobodyIsConnected(layout);
  CreateRoot(layout, group);
  for (const std::string* folder : {&layout.tmp, &layout.locks, &layout.procs}) CreateFolder(*folder);
  if (layout.is_new) WriteConfiguration(layout);
  if (!Exists(layout.lock_table)) AddLockTable(layout);
}

}  // namespace tvl::cli
