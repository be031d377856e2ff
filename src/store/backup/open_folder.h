#ifndef TVL_STORE_BACKUP_OPEN_FOLDER_H
#define TVL_STORE_BACKUP_OPEN_FOLDER_H

#include <cstddef>
#include <memory>
#include <string>

#include "store/backup/entry_status.h"

namespace tvl {

// A link as the system stores it.
struct LinkData {
  std::string bytes;
  bool is_folder = false;  // only where links to folders differ from links to files
};

// A folder that keeps leading to the same place as long as it is open, even if its path does not. No link
// that is one of its names is followed. Functions that return an int return 0 or an errno value.
class OpenFolder {
 public:
  enum class Use { kReading, kWriting };

  // The current folder; names may also be full paths.
  OpenFolder();
  OpenFolder(const std::string& path, Use use);
  OpenFolder(const OpenFolder& parent, const char* name, Use use);
  ~OpenFolder();
  OpenFolder(const OpenFolder&) = delete;
  OpenFolder& operator=(const OpenFolder&) = delete;

  // Returns 0, or why the folder could not be opened.
  [[nodiscard]] int Problem() const;

  // Returns the next name, in the order of the file system and with "." and "..", which is valid until the
  // next call. Returns null at the end, and if the folder cannot be read.
  [[nodiscard]] const char* NextName();
  // Returns why NextName returned null: 0 at the end.
  [[nodiscard]] int ReadingProblem() const;

  [[nodiscard]] int Examine(const char* name, EntryStatus& status) const;
  // Returns up to `most` bytes from the start of a file; none if it cannot be read.
  [[nodiscard]] std::string StartOf(const char* name, std::size_t most) const;
  // Creates a folder that is accessible to its owner only, where the system has modes.
  [[nodiscard]] int CreateFolder(const char* name) const;
  [[nodiscard]] int ReadLink(const char* name, LinkData& link) const;
  [[nodiscard]] int CreateLink(const char* name, const LinkData& link) const;

  // Sets the access and times of `copy` to those of this folder, as far as this user may.
  void CopyTraitsTo(const OpenFolder& copy) const;

  // What each system keeps of an open folder.
  struct State;
  [[nodiscard]] const State& Opened() const { return *state_; }

 private:
  std::unique_ptr<State> state_;
};

}  // namespace tvl

#endif
