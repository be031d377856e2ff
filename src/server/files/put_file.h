#ifndef TVL_SERVER_FILES_PUT_FILE_H
#define TVL_SERVER_FILES_PUT_FILE_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/descriptor.h"
#include "server/files/free_space.h"
#include "server/files/made_folders.h"
#include "server/files/parts.h"
#include "server/files/store_root.h"
#include "transfer/zlib_stream.h"

namespace tvl::server {

// A file that a client stores: it replaces its target completely or not at all.
//
// The data is written to a part next to the target, which is held so that nobody deletes it and replaces the
// target atomically at the end. If the object is destroyed before, part and new folders are removed. Results
// are codes for the client. Used by one thread at a time. All functions may wait for the disk.
class PutFile {
 public:
  struct Limits {
    std::uint64_t most = 0;  // maximum size of the file; 0 for no limit
    FreeSpace free;          // to keep free on the disk
  };

  // State that all puts of a server share.
  struct Shared {
    const StoreRoot& root;
    Parts& parts;
    MadeFolders& made_folders;
  };

  // With `packed`, the data is a zlib stream.
  PutFile(const Shared& shared, const Limits& limits, bool packed);
  ~PutFile();
  PutFile(const PutFile&) = delete;
  PutFile& operator=(const PutFile&) = delete;

  // Finds the place of `name`, which must be clean, and creates its folders. Returns TVL_ERR_SERVER_FILE if
  // clients must not access it.
  [[nodiscard]] int Find(const std::string& name);

  // Returns the place that Find has found.
  [[nodiscard]] const Place& Target() const { return place_; }

  // Creates the part. Returns TVL_ERR_COPY if this fails, or if the target cannot be replaced.
  [[nodiscard]] int Begin();

  [[nodiscard]] bool IsPacked() const { return inflater_ != nullptr; }

  // Returns false if a file of this size is too large.
  [[nodiscard]] bool MayHave(std::uint64_t bytes) const { return limits_.most == 0 || bytes <= limits_.most; }

  // Writes the next bytes. Returns TVL_ERR_COPY if there is no space for them, or TVL_ERR_UNZIP if they are
  // not a zlib stream although one is expected. A call writes a limited amount of decompressed data, so that
  // one client cannot monopolize the disk: while HasMore returns true, call Continue with the same bytes,
  // which must remain valid.
  [[nodiscard]] int Write(const char* bytes, std::size_t count);
  [[nodiscard]] bool HasMore() const { return more_; }
  [[nodiscard]] int Continue() { return WriteExpanded(); }

  // Replaces the target by the file and syncs it. Stores its time in `time`, in whole seconds since 1970.
  [[nodiscard]] int End(std::int64_t& time);

 private:
  [[nodiscard]] bool MakePart();
  [[nodiscard]] bool HoldPart();
  void DropPart();
  int WriteExpanded();
  int WritePlain(const char* bytes, std::size_t count);
  bool HasSpace();
  bool Settle(std::int64_t time) const;
  bool TakeAccess() const;
  bool Replace() const;

  void LeaveFolders();

  const Shared shared_;
  const Limits limits_;
  std::unique_ptr<Inflater> inflater_;  // null for uncompressed data
  std::string name_;
  Place place_;
  std::vector<std::string> made_;
  std::string part_name_;
  Descriptor part_;
  int note_ = -1;
  std::uint64_t size_ = 0;
  std::uint64_t vouched_ = 0;  // the size up to which there was enough space at the last check
  bool more_ = false;
  bool landed_ = false;
};

}  // namespace tvl::server

#endif
