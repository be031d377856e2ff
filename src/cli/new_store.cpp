#include "cli/new_store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string_view>

#include <tvlclient/errors.h>
#include <tvlclient/smb_opr.h>

#include "cli/failure.h"
#include "cli/text.h"

namespace tvl::cli {
namespace {

constexpr char kConfigurationName[] = "tvl.ini";
constexpr const char* kFolders[] = {"tmp", "tmp/locks", "tmp/procs"};
constexpr char kLockTable[] = "tmp/locks/dtlocks.dat";
constexpr mode_t kReadWrite = 0666;
constexpr mode_t kAll = 0777;
constexpr std::size_t kLongestValue = 259;
// Computer, address, class, number, process and user, as they stand in the name of a presence marker.
constexpr std::size_t kMarkerRoom = 100;
constexpr std::size_t kLongestRoot = 259 - std::string_view("/tmp/procs/").size() - kMarkerRoom;

// A path without "." and doubled slashes. Only one with ".." is looked up: a link in front of it decides
// where it leads, and elsewhere the user's own way of writing the path is what other computers see too.
std::string FullPath(const std::string& folder) {
  std::filesystem::path path = std::filesystem::absolute(folder);
  const bool leads_upward = std::find(path.begin(), path.end(), "..") != path.end();
  path = leads_upward ? std::filesystem::weakly_canonical(path) : path.lexically_normal();
  return path.has_filename() ? path.string() : path.parent_path().string();
}

// Why the path can't stand in a configuration, or nothing.
std::string WhyNotWritable(const std::string& root) {
  for (const char character : root) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < 0x20 || byte == 0x7F) return "has a control character in its path";
    if (character == '\\') return "has a backslash in its path, which a store takes for a separator";
  }
  if (root.size() > kLongestRoot)
    return "has a path of more than " + std::to_string(kLongestRoot) +
           " bytes, which leaves no room for names";
  if (ConfigurationValue(root).size() > kLongestValue) return "has a path too long for a configuration";
  return {};
}

// A descriptor that closes itself.
class Descriptor {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  ~Descriptor() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  [[nodiscard]] int Get() const { return descriptor_; }

 private:
  int descriptor_;
};

[[noreturn]] void Fail(const std::string& what, const std::string& path) {
  const int error = errno;
  throw Stop({}, {kFailed, 0, what, error, path});
}

// Gives a thing just made the bits of the folder it lies in, whatever the umask: all who work in that folder
// must be able to open it.
void TakeModeOf(const std::string& folder, mode_t bits, int descriptor, const std::string& path) {
  struct stat above = {};
  struct stat made = {};
  if (stat(folder.c_str(), &above) != 0 || fstat(descriptor, &made) != 0) Fail("mode cannot be read", path);
  const mode_t kept = made.st_mode & 07000U;  // a group that is handed down stays so
  if (fchmod(descriptor, kept | (above.st_mode & bits)) != 0) Fail("mode cannot be set", path);
}

void MakeFolder(const std::string& path, const std::string& above) {
  if (mkdir(path.c_str(), kAll) != 0) {
    if (errno == EEXIST && std::filesystem::is_directory(path)) return;
    Fail("folder cannot be made", path);
  }
  const Descriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.Get() < 0) Fail("folder cannot be opened", path);
  TakeModeOf(above, kAll, folder.Get(), path);
}

bool WriteText(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(descriptor, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return fsync(descriptor) == 0;
}

void WriteConfiguration(const std::string& path, const std::string& root) {
  const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kReadWrite));
  if (file.Get() < 0) Fail("configuration cannot be made", path);
  const std::string text =
      "; A store of the Tavolis File System.\n[TavolisFileSystem]\nDocumentRoot=" + ConfigurationValue(root) +
      "\nZipOnTransfert=0\n";
  if (!WriteText(file.Get(), text)) {
    const int error = errno;
    unlink(path.c_str());  // half a configuration would keep the next try from being made
    errno = error;
    Fail("configuration cannot be written", path);
  }
  TakeModeOf(root, kReadWrite, file.Get(), path);
}

// The table in which locks stand. Its lengths are those of a lock row and of its key.
void MakeLockTable(const std::string& configuration) {
  constexpr int kRecord = 154;
  constexpr int kKey = 82;
  char in_place[260] = "";
  std::string file = configuration;
  char client_class[] = "tvlc";
  std::string table = kLockTable;
  CTVLClientSmbOpr store;
  ForgetFileErrors();
  int code = store.Open(in_place, file.data(), client_class);
  int handle = 0;
  if (code == TVL_OK) code = store.CTFileInit(table.data(), handle, kRecord, kKey, 0);
  if (code == TVL_OK) return;
  unlink(configuration.c_str());  // a store without locks would keep the next try from being made
  Failure failure = LibraryFailure(code);
  failure.what = "the lock table cannot be made; is vbctree.so installed beside the library?";
  throw Stop({}, failure);
}

}  // namespace

// A blank at the end would be trimmed off, so quotes go around it. A "$" begins a reference; "%$" stands for
// one, but only in a value that has a reference as well. A "$" in front of the first slash refers to nothing
// and makes it such a value.
std::string ConfigurationValue(const std::string& root) {
  std::string value;
  for (const char character : root) {
    if (character == '$') value += '%';
    value += character;
  }
  if (value != root) value.insert(0, 1, '$');
  return value.back() == ' ' ? "\"" + value + "\"" : value;
}

NewStore::NewStore(const std::string& folder) : root_(FullPath(folder)) {
  const std::string why = folder.empty() ? "has no name" : WhyNotWritable(root_);
  if (!why.empty()) throw Stop(folder, {kFailed, 0, why, 0, {}});
  struct stat status = {};
  if (lstat(Configuration().c_str(), &status) == 0)
    throw Stop({}, {kFailed, 0, "there is a configuration already", 0, Configuration()});
  if (errno != ENOENT) Fail("no store can be made there", Configuration());
}

std::string NewStore::Configuration() const {
  return Joined(root_, kConfigurationName);
}

std::vector<std::string> NewStore::Missing() const {
  std::vector<std::string> missing;
  if (!std::filesystem::exists(root_)) missing.push_back(root_);
  for (const char* folder : kFolders) {
    if (!std::filesystem::exists(Joined(root_, folder))) missing.push_back(Joined(root_, folder));
  }
  missing.push_back(Configuration());
  if (!std::filesystem::exists(Joined(root_, kLockTable))) missing.push_back(Joined(root_, kLockTable));
  return missing;
}

void NewStore::Make() const {
  std::error_code problem;
  std::filesystem::create_directories(root_, problem);
  if (problem) throw Stop({}, {kFailed, 0, "folder cannot be made", problem.value(), root_});
  for (const char* folder : kFolders) MakeFolder(Joined(root_, folder), root_);
  WriteConfiguration(Configuration(), root_);
  MakeLockTable(Configuration());
}

}  // namespace tvl::cli
