#ifndef TVL_SERVER_STORE_ROOT_H
#define TVL_SERVER_STORE_ROOT_H

#include <sys/stat.h>

#include <optional>
#include <string>
#include <vector>

#include "server/descriptor.h"

namespace tvl::server {

// Where a file of the store is, or would be: its folder, opened, and its name there, which is no link.
struct Place {
  Descriptor folder;
  std::string folder_path;  // below the root; links may be on the way
  std::string base;
};

// Has a folder's entries on the disk, as far as that can be.
void SyncFolder(int folder);

// The document root, and the ways into it that a client's names take.
//
// No name leads out: the kernel resolves each below the root's descriptor and refuses what would leave it,
// links included. Nor does one lead into a closed folder or to the configuration, by whatever links. Any
// thread may use it. A failure leaves its reason in errno.
class StoreRoot {
 public:
  // Host paths. `closed`: the folders that no client may enter; the root itself among them closes nothing.
  // Throws std::system_error if the root can't be opened.
  StoreRoot(const std::string& root, const std::vector<std::string>& closed,
            const std::string& configuration);

  // False if the path of the root leads to another folder now, or to none: what is put would be lost to
  // everyone who goes by the path, so nothing is found then (ESTALE).
  [[nodiscard]] bool IsInPlace() const { return Identify(path_) == root_id_; }

  // Where `name`, a clean one, leads; links are followed. Nothing if it leads out or where no client may go,
  // or there is no such folder.
  [[nodiscard]] std::optional<Place> Find(const std::string& name) const;

  // Where a file of a put lies that was noted by this path.
  [[nodiscard]] std::optional<Place> FindPart(const std::string& path) const;

  // As Find, and makes the folders that are missing; `made` gets their paths, the outer ones first.
  [[nodiscard]] std::optional<Place> FindOrMake(const std::string& name,
                                                std::vector<std::string>& made) const;

  // Removes folders, in this order, as far as they are empty.
  void RemoveFolders(const std::vector<std::string>& paths) const;

  // Has the entries of folders that FindOrMake made on the disk.
  void SyncAbove(const std::vector<std::string>& made) const;

  // Opens the file at a place for reading; only regular files open.
  [[nodiscard]] Descriptor OpenToRead(const Place& place, struct stat& status) const;

  // Opens the file of a clean name for reading, if the kernel has all that it takes at hand. Not open for any
  // other reason either: Find and OpenToRead tell whether there is such a file.
  [[nodiscard]] Descriptor OpenAtOnce(const std::string& name, struct stat& status) const;

 private:
  struct FileId {
    dev_t device = 0;
    ino_t inode = 0;
    bool operator==(const FileId& other) const { return device == other.device && inode == other.inode; }
  };

  // A folder that no client may enter. Another one may take its place while the server runs; then both are
  // closed.
  struct ClosedFolder {
    std::string path;
    FileId id;
  };

  static std::optional<FileId> Identify(int descriptor);
  static std::optional<FileId> Identify(const std::string& path);

  std::optional<Place> Locate(std::string path, std::vector<std::string>* made) const;
  Descriptor OpenFolder(const std::string& path) const;
  Descriptor OpenStepByStep(const std::string& path) const;
  Descriptor OpenOrMakeFolder(const std::string& path, std::vector<std::string>& made) const;
  static bool IsWithin(int folder, const std::vector<FileId>& wanted, const FileId& top);
  bool MayEnter(int folder) const;
  bool MayTouch(const Place& place) const;
  bool IsForClients(const FileId& id) const;
  Descriptor IfReadable(Descriptor file, struct stat& status) const;

  [[nodiscard]] std::vector<FileId> Closed() const;

  std::string path_;
  Descriptor root_;
  FileId root_id_;
  std::string configuration_;
  std::string configuration_base_;
  std::optional<FileId> configuration_folder_;
  std::vector<ClosedFolder> closed_;  // those that are below the root
  bool kernel_resolves_ = true;
};

}  // namespace tvl::server

#endif
