#include "engine/pointer_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <utility>

#include "engine/last_error.h"
#include "engine/plugin_module.h"
#include "engine/posix/folder_mode.h"
#include "engine/storage.h"
#include "engine/table_file.h"
#include "host/descriptor.h"
#include "host/file_identity.h"
#include "host/file_lock.h"
#include "host/random_id.h"
#include "host/sync.h"
#include "host/system_calls.h"
#include "host/write_all.h"
#include "store/check/mount.h"
#include "store/lock_ranges.h"
#include "store/part_name.h"

namespace tvl::engine {
namespace {

static_assert(kTableIdLength == kRandomIdLength);

bool IsThere(const std::string& path) {
  struct stat status = {};
  return System().lstat(path.c_str(), &status) == 0 || errno != ENOENT;
}

bool Refuse(const std::string& path) {
  const std::optional<Mount> mount = MountOf(FolderOf(path));
  if (!mount || HasStableInodes(*mount)) return false;
  NoteError("a table in PostgreSQL needs a share with permanent file numbers (SMB: mount with serverino)");
  return true;
}

}  // namespace

// The number comes from a random id, because another computer may have a process with the same number.
std::string PartPath(const std::string& path, const Pointer& pointer) {
  const auto number = static_cast<unsigned int>(std::stoul(pointer.id.substr(0, 7), nullptr, 16));
  return FolderOf(path) + PartName(static_cast<unsigned int>(getpid()), number);
}

// The data file before it has its name. It is removed with this object, unless it was renamed.
class NewRemoteTable::Part {
 public:
  Part(const std::string& path, const Pointer& pointer) : path_(PartPath(path, pointer)) {}
  Part(const Part&) = delete;
  Part& operator=(const Part&) = delete;
  ~Part() {
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

  // Returns whether the file has this name too, and leaves errno as it is. A network file system that repeats
  // a request after a lost answer may report a failure of what it has done.
  [[nodiscard]] bool HasName(const std::string& path) const {
    const int problem = errno;
    const std::optional<FileIdentity> id = Id();
    const bool has = id && IdentityOf(path.c_str()) == id;
    errno = problem;
    return has;
  }
  [[nodiscard]] const std::string& Path() const { return path_; }

 private:
  std::string path_;
  Descriptor file_;
};

NewRemoteTable::NewRemoteTable(std::string path, RemotePlace place, StoragePlugin& plugin,
                               std::unique_ptr<Part> part)
    : path_(std::move(path)), place_(std::move(place)), plugin_(plugin), part_(std::move(part)) {}

std::unique_ptr<NewRemoteTable> NewRemoteTable::Create(const std::string& path, const Layout& layout,
                                                       const Permission& permission) {
  StoragePlugin* const plugin = PostgresPlugin();
  if (plugin == nullptr || Refuse(path)) return nullptr;
  RemotePlace place = {permission, {RandomId(), layout}, 0, IsLockTable(path)};
  if (place.pointer.id.empty()) {
    NoteSystemError("the table gets no id");
    return nullptr;
  }
  auto part = std::make_unique<Part>(path, place.pointer);
  if (!part->Write(TextOf(place.pointer))) return nullptr;
  place.inode = part->Id().value_or(FileIdentity()).inode;
  std::unique_ptr<NewRemoteTable> table(new NewRemoteTable(path, place, *plugin, std::move(part)));
  if (plugin->Create(place)) return table;
  table->Keep();
  return nullptr;
}

NewRemoteTable::~NewRemoteTable() {
  if (!is_kept_) plugin_.Discard(place_);
}

void NewRemoteTable::Keep() {
  is_kept_ = true;
}

std::unique_ptr<Table> NewRemoteTable::OpenRows(Patience& patience) const {
  return plugin_.Open(place_, patience);
}

NewRemoteTable::Published NewRemoteTable::Link() const {
  if (System().link(part_->Path().c_str(), path_.c_str()) == 0 || part_->HasName(path_))
    return Published::kDone;
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
NewRemoteTable::Published NewRemoteTable::WriteInPlace() {
  const Descriptor file(
      System().open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!file.IsOpen()) return errno == EEXIST ? Published::kTaken : Published::kFailed;
  TakeModeOfFolder(file.Get(), path_);
  const std::string text = TextOf(place_.pointer);
  if (const std::optional<FileIdentity> id = IdentityOf(file.Get())) {
    place_.inode = id->inode;
    errno = plugin_.Adopt(place_) ? WriteAll(file.Get(), text.data(), text.size()) : EIO;
    if (errno == 0) errno = Sync(file.Get());
    if (errno == 0) return Published::kDone;
  }
  const int problem = errno;
  System().unlink(path_.c_str());
  errno = problem;
  return Published::kFailed;
}

bool NewRemoteTable::Publish() {
  Published published = Link();
  if (published == Published::kNoLinks) published = WriteInPlace();
  if (published == Published::kTaken) {
    NoteError("another process has just created the table", Problem::kBusy);
  } else if (published == Published::kFailed) {
    NoteSystemError("the table cannot be created");
  } else {
    Keep();
    static_cast<void>(SyncFolderOf(path_));
  }
  return is_kept_;
}

bool NewRemoteTable::PublishInstead() {
  Keep();
  if (System().rename(part_->Path().c_str(), path_.c_str()) != 0 && !part_->HasName(path_)) {
    NoteSystemError("the table cannot be replaced");
    return false;
  }
  static_cast<void>(SyncFolderOf(path_));
  return true;
}

bool MakePointer(const std::string& path, const Layout& layout, const Permission& permission) {
  const bool replaces = IsThere(path);
  const std::optional<TableFile> former = replaces ? TableFile::SeizeExisting(path) : std::nullopt;
  if (replaces && !former) return false;
  const std::unique_ptr<NewRemoteTable> table = NewRemoteTable::Create(path, layout, permission);
  return table != nullptr && (replaces ? table->PublishInstead() : table->Publish());
}

}  // namespace tvl::engine
