#ifndef TVL_SERVER_FILES_STORE_ROOT_H
#define TVL_SERVER_FILES_STORE_ROOT_H

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/descriptor.h"
#include "host/file_identity.h"

namespace tvl::server {

// The place of a file in the store, which need not exist: its open folder, and its name there, which is not a
// link.
struct Place {
  Descriptor folder;
  std::string folder_path;  // below the root; links may be on the way
  std::string base;
};

// Bytes of a file system.
struct DiskSpace {
  std::uint64_t free;  // for users other than root
  std::uint64_t size;
};

// The document root, and the resolution of clients' names in it.
//
// No name leads out of the root: the kernel resolves each name below the descriptor of the root and refuses
// to leave it, even through links. Nor does a name lead into a closed folder or to the configuration through
// links. Any thread may use it. A failure sets errno.
class StoreRoot {
 public:
  // All paths are host paths. `closed` are the folders that clients must not enter; the root itself in this
  // list has no effect. Throws std::system_error if the root cannot be opened.
  StoreRoot(const std::string& root, const std::vector<std::string>& closed,
            const std::string& configuration);

  // Returns false if the path of the root now leads to another folder, or to none. Then puts would be
  // invisible to everyone who uses the path, so nothing is found (ESTALE).
  [[nodiscard]] bool IsInPlace() const { return IdentityOf(path_.c_str()) == root_id_; }

  // Space on the root's disk; nothing if that cannot be determined.
  [[nodiscard]] std::optional<DiskSpace> Space() const;

  // Resolves `name`, which must be clean, following links. Returns nothing if it leads out of the root or
  // into a forbidden place, or if the folder does not exist.
  [[nodiscard]] std::optional<Place> Find(const std::string& name) const;

  // Resolves the path of a recorded part.
  [[nodiscard]] std::optional<Place> FindPart(const std::string& path) const;

  // Like Find, but creates missing folders. Stores their paths in `made`, outer ones first.
  [[nodiscard]] std::optional<Place> FindOrMake(const std::string& name,
                                                std::vector<std::string>& made) const;

  // Removes these folders in this order if they are empty.
  void RemoveFolders(const std::vector<std::string>& paths) const;

  // Syncs the entries of folders that FindOrMake created.
  void SyncAbove(const std::vector<std::string>& made) const;

  // Opens the regular file at a place for reading.
  [[nodiscard]] Descriptor OpenToRead(const Place& place, struct stat& status) const;

  // Opens the file of a clean name for reading if no links are on its path and the kernel has everything
  // cached. If the result is not open, use Find and OpenToRead to find out whether the file exists.
  [[nodiscard]] Descriptor OpenAtOnce(const std::string& name, struct stat& status) const;

 private:
  // A folder that clients must not enter. It may be replaced while the server runs; then both are closed.
  struct ClosedFolder {
    std::string path;
    FileIdentity id;
  };

  std::optional<Place> Locate(std::string path, std::vector<std::string>* made) const;
  Descriptor OpenFolder(const std::string& path) const;
  Descriptor OpenStepByStep(const std::string& path) const;
  Descriptor OpenOrMakeFolder(const std::string& path, std::vector<std::string>& made) const;
  static bool IsWithin(int folder, std::optional<FileIdentity> id, const std::vector<FileIdentity>& wanted,
                       const FileIdentity& top);
  bool MayEnter(int folder, const std::optional<FileIdentity>& id) const;
  void Close(const std::string& path);
  bool MeetsClosed(const std::string& folders) const;
  bool MayTouch(const Place& place) const;
  [[nodiscard]] bool IsNamedLikeConfiguration(const std::string& base) const;
  bool IsForClients(const struct stat& status) const;
  Descriptor IfReadable(Descriptor file, struct stat& status) const;

  [[nodiscard]] std::vector<FileIdentity> Closed() const;

  std::string path_;
  Descriptor root_;
  FileIdentity root_id_;
  std::string configuration_;
  std::string configuration_base_;
  std::optional<FileIdentity> configuration_folder_;
  std::vector<ClosedFolder> closed_;  // those that are below the root
  bool kernel_resolves_ = true;
};

}  // namespace tvl::server

#endif
