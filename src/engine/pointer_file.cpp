#include "engine/pointer_file.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <optional>
#include <string_view>

#include "engine/last_error.h"
#include "engine/plugin_module.h"
#include "engine/table_file.h"
#include "host/descriptor.h"
#include "host/file_identity.h"
#include "host/file_lock.h"
#include "host/sync.h"
#include "host/system_calls.h"
#include "host/write_all.h"
#include "store/check/mount.h"
#include "store/layout.h"
#include "store/lock_ranges.h"
#include "store/part_name.h"

namespace tvl::engine {
namespace {

using std::string_view;

// The file systems that number a file differently after a while or on another computer. On SMB, the numbers
// are the server's only with an option.
constexpr string_view kUnstable[] = {"vfat", "exfat", "msdos", "vboxsf"};
constexpr string_view kStableFuse[] = {"fuse.glusterfs", "fuse.ceph", "fuse.ceph-fuse"};

template <typename Names>
bool IsAmong(const Names& names, string_view name) {
  return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

bool HasStableInodes(const std::string& path) {
  std::ifstream mounts("/proc/self/mountinfo");
  const std::optional<Mount> mount = FindMount(mounts, FolderOf(path));
  if (!mount) return true;
  if (mount->type == "cifs" || mount->type == "smb3")
    return (',' + mount->options + ',').find(",serverino,") != std::string::npos;
  if (mount->type.starts_with("fuse")) return IsAmong(kStableFuse, mount->type);
  return !IsAmong(kUnstable, mount->type);
}

// Returns an empty text and notes an error if there are no random numbers.
std::string NewTableId() {
  unsigned char bytes[kTableIdLength / 2];
  if (getrandom(bytes, sizeof bytes, 0) != static_cast<ssize_t>(sizeof bytes)) {
    NoteSystemError("the table gets no id");
    return {};
  }
  std::string id;
  for (const unsigned char byte : bytes) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", byte);
    id += digits;
  }
  return id;
}

// The data file before it has its name. It is removed with this object, unless it was renamed.
class UnfinishedPointer {
 public:
  UnfinishedPointer(const std::string& path, const Pointer& pointer)
      : path_(FolderOf(path) + PartName(static_cast<unsigned int>(getpid()), NumberFrom(pointer.id))) {}
  UnfinishedPointer(const UnfinishedPointer&) = delete;
  UnfinishedPointer& operator=(const UnfinishedPointer&) = delete;
  ~UnfinishedPointer() {
    if (file_.IsOpen()) System().unlink(path_.c_str());
  }

  // Writes the file and syncs it. Returns false and notes an error on failure.
  [[nodiscard]] bool Write(const std::string& text) {
    file_ =
        Descriptor(System().open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (file_.IsOpen()) {
      TakeModeOfFolder(file_.Get(), path_);
      static_cast<void>(TryLock(file_.Get(), F_WRLCK, kHoldRange));  // others remove a part that nobody holds
      errno = WriteAll(file_.Get(), text.data(), text.size());
      if (errno == 0) errno = Sync(file_.Get());
      if (errno == 0) return true;
    }
    NoteSystemError("the table cannot be written");
    return false;
  }

  [[nodiscard]] std::optional<FileIdentity> Id() const { return IdentityOf(file_.Get()); }
  [[nodiscard]] const std::string& Path() const { return path_; }

 private:
  static unsigned int NumberFrom(const std::string& id) {
    return static_cast<unsigned int>(std::stoul(id.substr(0, 7), nullptr, 16));
  }

  std::string path_;
  Descriptor file_;
};

enum class Published { kDone, kTaken, kNoLinks, kFailed };

// A network file system that repeats a request after a lost answer may report a failure of what it has done.
bool HasName(const UnfinishedPointer& part, const std::string& path) {
  const int problem = errno;
  const std::optional<FileIdentity> id = part.Id();
  const bool has = id && IdentityOf(path.c_str()) == id;
  errno = problem;
  return has;
}

Published Link(const UnfinishedPointer& part, const std::string& path) {
  if (System().link(part.Path().c_str(), path.c_str()) == 0 || HasName(part, path)) return Published::kDone;
  switch (errno) {
    case EEXIST:
      return Published::kTaken;
    case EPERM:
    case ENOSYS:
    case EOPNOTSUPP:
    case EMLINK:
      return Published::kNoLinks;
    default:
      return Published::kFailed;
  }
}

// Creates the file under its final name, where a share has no links. Until it is complete, it is refused. It
// is another file than the part, so the catalog of the database names it first.
Published WriteInPlace(const std::string& path, const std::string& text, RemotePlace place,
                       StoragePlugin& plugin) {
  const Descriptor file(
      System().open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!file.IsOpen()) return errno == EEXIST ? Published::kTaken : Published::kFailed;
  TakeModeOfFolder(file.Get(), path);
  const std::optional<FileIdentity> id = IdentityOf(file.Get());
  if (id) {
    place.inode = id->inode;
    errno = plugin.Adopt(place) ? WriteAll(file.Get(), text.data(), text.size()) : EIO;
    if (errno == 0) errno = Sync(file.Get());
    if (errno == 0) return Published::kDone;
  }
  const int problem = errno;
  System().unlink(path.c_str());
  errno = problem;
  return Published::kFailed;
}

// Renames the part to the table. `former` is the table of that name, which nobody uses, if there was
// one.
Published Publish(const UnfinishedPointer& part, const std::string& path, const std::string& text,
                  const std::optional<TableFile>& former, const RemotePlace& place, StoragePlugin& plugin) {
  if (former) {
    const bool renamed = System().rename(part.Path().c_str(), path.c_str()) == 0 || HasName(part, path);
    return renamed ? Published::kDone : Published::kFailed;
  }
  const Published linked = Link(part, path);
  return linked == Published::kNoLinks ? WriteInPlace(path, text, place, plugin) : linked;
}

bool IsThere(const std::string& path) {
  struct stat status = {};
  return System().lstat(path.c_str(), &status) == 0 || errno != ENOENT;
}

bool Refuse(const std::string& path) {
  if (HasStableInodes(path)) return false;
  NoteError("a table in PostgreSQL needs a share with permanent file numbers (SMB: mount with serverino)");
  return true;
}

}  // namespace

bool IsLockTable(const std::string& path) {
  return path.substr(path.rfind('/') + 1) == kLockTableName;
}

bool MakePointer(const std::string& path, const Layout& layout, const Permission& permission) {
  StoragePlugin* const plugin = PostgresPlugin();
  if (plugin == nullptr || Refuse(path)) return false;
  const bool replaces = IsThere(path);
  const std::optional<TableFile> former = replaces ? TableFile::SeizeExisting(path) : std::nullopt;
  if (replaces && !former) return false;
  RemotePlace place = {permission, {NewTableId(), layout}, 0, IsLockTable(path)};
  if (place.pointer.id.empty()) return false;
  const std::string text = TextOf(place.pointer);
  UnfinishedPointer part(path, place.pointer);
  if (!part.Write(text)) return false;
  place.inode = part.Id().value_or(FileIdentity()).inode;
  if (!plugin->Create(place)) return false;
  const Published published = Publish(part, path, text, former, place, *plugin);
  if (published == Published::kDone) {
    static_cast<void>(SyncFolderOf(path));
    return true;
  }
  if (published == Published::kTaken) {
    NoteError("another process has just created the table", Problem::kBusy);
  } else {
    NoteSystemError("the table cannot be created");
  }
  plugin->Discard(place);
  return false;
}

}  // namespace tvl::engine
