#ifndef TVL_SERVER_PUT_FILE_H
#define TVL_SERVER_PUT_FILE_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "server/descriptor.h"
#include "server/free_space.h"
#include "server/made_folders.h"
#include "server/parts.h"
#include "server/store_root.h"
#include "transfer/zlib_stream.h"

namespace tvl::server {

// A file on its way into the store: it lands whole or not at all.
//
// What comes is written to a part beside the target, held so that nobody deletes it, and takes the target's
// place in one step at the end. An object that goes before that takes part and folders with it. Results are
// codes for the client: 0, or why not. One thread at a time; all of it may wait for the disk.
class PutFile {
 public:
  struct Limits {
    std::uint64_t most = 0;  // bytes that the file may have; 0 for any number
    FreeSpace free;          // must be left on the disk
  };

  // What puts of one server share.
  struct Shared {
    const StoreRoot& root;
    Parts& parts;
    MadeFolders& made_folders;
  };

  // `packed`: what comes is a zlib stream.
  PutFile(const Shared& shared, const Limits& limits, bool packed);
  ~PutFile();
  PutFile(const PutFile&) = delete;
  PutFile& operator=(const PutFile&) = delete;

  // Finds the place of `name`, a clean one, and makes its folders. 20 if it leads where no client may go.
  [[nodiscard]] int Find(const std::string& name);

  // Makes the part. 22 if it can't be made, or the target can't be replaced.
  [[nodiscard]] int Begin();

  [[nodiscard]] bool IsPacked() const { return inflater_ != nullptr; }

  // False if a file of so many bytes is too large.
  [[nodiscard]] bool MayHave(std::uint64_t bytes) const { return limits_.most == 0 || bytes <= limits_.most; }

  // Takes the next bytes. 22 if there is no space for them, 28 if they are not a zlib stream where one is
  // wanted. A packed file may have more to write than one call does, so that one client cannot keep the disk
  // for itself: while HasMore says so, Continue goes on with these bytes, which must stay where they are.
  [[nodiscard]] int Write(const char* bytes, std::size_t count);
  [[nodiscard]] bool HasMore() const { return more_; }
  [[nodiscard]] int Continue() { return WriteExpanded(); }

  // Puts the file in its place, on the disk too. `time` gets its time, in whole seconds since 1970.
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
  std::unique_ptr<Inflater> inflater_;  // null for what comes as it is
  std::string name_;
  Place place_;
  std::vector<std::string> made_;
  std::string part_name_;
  Descriptor part_;
  int note_ = -1;
  std::uint64_t size_ = 0;
  std::uint64_t vouched_ = 0;  // the size up to which there was enough space at the last look
  bool more_ = false;
  bool landed_ = false;
};

}  // namespace tvl::server

#endif
