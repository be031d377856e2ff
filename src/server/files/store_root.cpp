#include "server/files/store_root.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <system_error>

#include "base/text.h"
#include "host/sync.h"
#include "host/system_calls.h"
#include "server/files/names.h"
#include "store/layout.h"

namespace tvl::server {
namespace {

constexpr int kFolderFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;
// Non-blocking, because the name may belong to a pipe.
constexpr int kReadFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
constexpr mode_t kFolderMode = 0777;
constexpr int kMostLinks = 16;
constexpr int kDeepest = 300;
constexpr std::size_t kLongestLink = 4096;

Descriptor TryBeneath(int root, const char* path, int flags, std::uint64_t resolve) {
  open_how how = {};
  how.flags = static_cast<std::uint64_t>(flags);
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS | resolve;
  return Descriptor(System().openat2(root, path, &how));
}

// EAGAIN means that something on the path was renamed meanwhile, so the kernel cannot guarantee the result.
Descriptor OpenBeneath(int root, const char* path, int flags) {
  Descriptor opened;
  do {
    opened = TryBeneath(root, path, flags, 0);
  } while (!opened.IsOpen() && (errno == EAGAIN || errno == EINTR));
  return opened;
}

// Old kernels do not have the call, and some sandboxes refuse calls that they do not know.
bool KernelResolves(int root) {
  return OpenBeneath(root, ".", kFolderFlags).IsOpen() || (errno != ENOSYS && errno != EPERM);
}

// Returns the status of a place; a mode of 0 if nothing exists there.
struct stat StatusOf(const Place& place) {
  struct stat status = {};
  if (System().fstatat(place.folder.Get(), place.base.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return {};
  return status;
}

// Returns the target of the link at a place.
std::string ReadLink(const Place& place) {
  std::string target(kLongestLink, '\0');
  const ssize_t length =
      System().readlinkat(place.folder.Get(), place.base.c_str(), target.data(), target.size());
  target.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
  return target;
}

// Resolves the links in the path. Returns it unchanged if the file does not exist.
std::string WithoutLinks(const std::string& path) {
  char real[PATH_MAX];
  return System().realpath(path.c_str(), real) != nullptr ? real : path;
}

// Returns true if the target of a link can only be a folder.
bool NamesFolder(const std::string& base) {
  return base.empty() || base == "." || base == "..";
}

}  // namespace

StoreRoot::StoreRoot(const std::string& root, const std::vector<std::string>& closed,
                     const std::string& configuration)
    : path_(root),
      root_(System().open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0)),
      configuration_(WithoutLinks(configuration)) {
  const std::optional<FileIdentity> id = root_.IsOpen() ? IdentityOf(root_.Get()) : std::nullopt;
  if (!id) throw std::system_error(errno, std::generic_category(), root);
  root_id_ = *id;
  kernel_resolves_ = KernelResolves(root_.Get());
  for (const std::string& path : closed) Close(path);
  const SplitName split = Split(configuration_);
  configuration_base_ = split.base;
  configuration_folder_ = IdentityOf(split.folder.empty() ? "." : split.folder.c_str());
}

std::optional<DiskSpace> StoreRoot::Space() const {
  struct statvfs status = {};
  if (System().fstatvfs(root_.Get(), &status) != 0) return std::nullopt;
  const std::uint64_t unit = status.f_frsize;
  return DiskSpace{status.f_bavail * unit, status.f_blocks * unit};
}

// Returns true if `folder`, which is `id`, is one of `wanted` or is below one, and if that cannot be
// determined. Walks up to `top`. Uses the folder itself, not its path, so that links and case rules of the
// file system do not matter.
bool StoreRoot::IsWithin(int folder, std::optional<FileIdentity> id, const std::vector<FileIdentity>& wanted,
                         const FileIdentity& top) {
  Descriptor above;
  for (int depth = 0; id && depth < kDeepest; ++depth) {
    if (std::find(wanted.begin(), wanted.end(), *id) != wanted.end()) return true;
    if (*id == top) return false;
    above = Descriptor(System().openat(depth == 0 ? folder : above.Get(), "..", kFolderFlags, 0));
    const std::optional<FileIdentity> next = above.IsOpen() ? IdentityOf(above.Get()) : std::nullopt;
    if (next == id) return false;  // the root folder of the host
    id = next;
  }
  return true;
}

std::vector<FileIdentity> StoreRoot::Closed() const {
  std::vector<FileIdentity> ids;
  for (const ClosedFolder& folder : closed_) {
    ids.push_back(folder.id);
    const std::optional<FileIdentity> now = IdentityOf(folder.path.c_str());
    if (now && *now != folder.id) ids.push_back(*now);
  }
  return ids;
}

// Closes a folder to clients, unless it is outside the root or within another closed one.
void StoreRoot::Close(const std::string& path) {
  const Descriptor folder(System().open(path.c_str(), kFolderFlags, 0));
  const std::optional<FileIdentity> id = folder.IsOpen() ? IdentityOf(folder.Get()) : std::nullopt;
  if (!id || *id == root_id_ || !IsWithin(folder.Get(), id, {root_id_}, root_id_)) return;
  if (closed_.empty() || !IsWithin(folder.Get(), id, Closed(), root_id_)) closed_.push_back({path, *id});
}

bool StoreRoot::MayEnter(int folder, const std::optional<FileIdentity>& id) const {
  return closed_.empty() || !IsWithin(folder, id, Closed(), root_id_);
}

bool StoreRoot::MayTouch(const Place& place) const {
  const std::optional<FileIdentity> folder = IdentityOf(place.folder.Get());
  if (EndsLikePart(place.base) || !MayEnter(place.folder.Get(), folder)) return false;
  return !configuration_folder_ || folder != configuration_folder_ || !IsNamedLikeConfiguration(place.base);
}

// Like the configuration, or the file on which its writers take turns.
bool StoreRoot::IsNamedLikeConfiguration(const std::string& base) const {
  return EqualNoCase(base.c_str(), configuration_base_.c_str()) ||
         EqualNoCase(base.c_str(), (configuration_base_ + kConfigurationLockSuffix).c_str());
}

// True if one of the folders of a path without links is a closed one, or that cannot be determined.
bool StoreRoot::MeetsClosed(const std::string& folders) const {
  if (closed_.empty() || folders.empty()) return false;
  const std::vector<FileIdentity> closed = Closed();
  for (std::size_t end = 0; end != std::string::npos;) {
    end = folders.find('/', end + 1);
    struct stat status = {};
    if (System().fstatat(root_.Get(), folders.substr(0, end).c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
      return true;
    const FileIdentity id = IdentityOf(status);
    if (std::find(closed.begin(), closed.end(), id) != closed.end()) return true;
  }
  return false;
}

// Returns false for the closed folders themselves and for the configuration, regardless of the name.
bool StoreRoot::IsForClients(const struct stat& status) const {
  const FileIdentity id = IdentityOf(status);
  if (S_ISREG(status.st_mode)) return IdentityOf(configuration_.c_str()) != id;
  const std::vector<FileIdentity> closed = Closed();
  return std::find(closed.begin(), closed.end(), id) == closed.end();
}

Descriptor StoreRoot::OpenFolder(const std::string& path) const {
  if (!kernel_resolves_) return OpenStepByStep(path);
  return OpenBeneath(root_.Get(), path.empty() ? "." : path.c_str(), kFolderFlags);
}

// Without support by the kernel, no link is followed at all.
Descriptor StoreRoot::OpenStepByStep(const std::string& path) const {
  Descriptor folder(System().openat(root_.Get(), ".", kFolderFlags, 0));
  for (std::size_t at = 0; at < path.size() && folder.IsOpen();) {
    const std::size_t end = std::min(path.find('/', at), path.size());
    const std::string component = path.substr(at, end - at);
    at = end + 1;
    if (component == "..") {
      errno = EXDEV;
      return {};
    }
    folder = Descriptor(System().openat(folder.Get(), component.c_str(), kFolderFlags | O_NOFOLLOW, 0));
  }
  return folder;
}

Descriptor StoreRoot::OpenOrMakeFolder(const std::string& path, std::vector<std::string>& made) const {
  Descriptor folder = OpenFolder(path);
  if (folder.IsOpen() || errno != ENOENT || path.empty()) return folder;
  const SplitName split = Split(path);
  const Descriptor above = OpenOrMakeFolder(split.folder, made);
  if (!above.IsOpen()) return {};
  if (!MayEnter(above.Get(), IdentityOf(above.Get()))) {
    errno = EACCES;
    return {};
  }
  if (System().mkdirat(above.Get(), split.base.c_str(), kFolderMode) == 0) {
    made.push_back(path);
  } else if (errno != EEXIST) {
    return {};
  }
  return OpenFolder(path);
}

// The kernel follows the links on the path to the folder. A link as the last component is followed here,
// because a put replaces its target and not the link.
std::optional<Place> StoreRoot::Locate(std::string path, std::vector<std::string>* made) const {
  if (!IsInPlace()) {
    errno = ESTALE;
    return std::nullopt;
  }
  for (int links = 0; links < kMostLinks; ++links) {
    SplitName split = Split(path);
    Place place = {made == nullptr ? OpenFolder(split.folder) : OpenOrMakeFolder(split.folder, *made),
                   split.folder, std::move(split.base)};
    if (!place.folder.IsOpen()) return std::nullopt;
    if (!MayTouch(place)) break;
    const struct stat status = StatusOf(place);
    if (!S_ISLNK(status.st_mode)) {
      if (!IsForClients(status)) break;
      return place;
    }
    const std::string target = ReadLink(place);
    if (!kernel_resolves_ || target.empty() || target.front() == '/') break;
    path = split.folder.empty() ? target : split.folder + "/" + target;
    if (NamesFolder(Split(path).base)) break;
  }
  errno = EACCES;
  return std::nullopt;
}

std::optional<Place> StoreRoot::Find(const std::string& name) const {
  return Locate(name, nullptr);
}

std::optional<Place> StoreRoot::FindPart(const std::string& path) const {
  SplitName split = Split(path);
  Place place = {OpenFolder(split.folder), std::move(split.folder), std::move(split.base)};
  if (!place.folder.IsOpen() || !EndsLikePart(place.base) ||
      !MayEnter(place.folder.Get(), IdentityOf(place.folder.Get())))
    return std::nullopt;
  return place;
}

std::optional<Place> StoreRoot::FindOrMake(const std::string& name, std::vector<std::string>& made) const {
  return Locate(name, &made);
}

void StoreRoot::RemoveFolders(const std::vector<std::string>& paths) const {
  for (const std::string& path : paths) {
    const SplitName split = Split(path);
    const Descriptor above = OpenFolder(split.folder);
    if (above.IsOpen()) System().unlinkat(above.Get(), split.base.c_str(), AT_REMOVEDIR);
  }
}

void StoreRoot::SyncAbove(const std::vector<std::string>& made) const {
  for (const std::string& path : made) {
    const Descriptor above = OpenFolder(Split(path).folder);
    if (above.IsOpen()) static_cast<void>(SyncFolder(above.Get(), "."));
  }
}

Descriptor StoreRoot::OpenToRead(const Place& place, struct stat& status) const {
  return IfReadable(Descriptor(System().openat(place.folder.Get(), place.base.c_str(), kReadFlags, 0)),
                    status);
}

Descriptor StoreRoot::OpenAtOnce(const std::string& name, struct stat& status) const {
  const SplitName split = Split(name);
  if (EndsLikePart(split.base) || IsNamedLikeConfiguration(split.base) || !IsInPlace()) return {};
  Descriptor file = TryBeneath(root_.Get(), name.c_str(), kReadFlags, RESOLVE_CACHED | RESOLVE_NO_SYMLINKS);
  if (!file.IsOpen() || MeetsClosed(split.folder)) return {};
  return IfReadable(std::move(file), status);
}

// Returns the file if clients may read it.
Descriptor StoreRoot::IfReadable(Descriptor file, struct stat& status) const {
  if (!file.IsOpen() || System().fstat(file.Get(), &status) != 0) return {};
  if (S_ISREG(status.st_mode) && IsForClients(status)) return file;
  errno = EACCES;
  return {};
}

}  // namespace tvl::server
