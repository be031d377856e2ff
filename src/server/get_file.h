#ifndef TVL_SERVER_GET_FILE_H
#define TVL_SERVER_GET_FILE_H

#include <sys/stat.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "host/descriptor.h"
#include "server/chunk.h"
#include "server/hash_cache.h"
#include "server/store_root.h"
#include "transfer/zlib_stream.h"

namespace tvl::server {

// A file on its way out of the store, as it was when it was opened: a put of the same name makes another
// file. One thread at a time; all of it may wait for the disk.
class GetFile {
 public:
  // What the client's copy is compared with, and how.
  struct Compare {
    int policy;
    const std::string& stamp;
  };

  // Finds the file. 0; 19 if the client's copy is current; 20 if there is none or no client may have it.
  // Nothing if its contents decide: then its signature has to be compared with the stamp.
  [[nodiscard]] std::optional<int> Open(const StoreRoot& root, const std::string& name,
                                        const Compare& compare);

  // The same, if that takes no wait: nothing if it would, or if there is no such file.
  [[nodiscard]] std::optional<int> OpenAtOnce(const StoreRoot& root, const std::string& name,
                                              const Compare& compare);

  // The file that was opened, and its status then.
  [[nodiscard]] int Number() const { return file_.Get(); }
  [[nodiscard]] const struct stat& Status() const { return status_; }

  // From now on what comes is a zlib stream. False without memory.
  [[nodiscard]] bool Pack();

  // Fills the chunk with what comes next; nothing at the end. False if it can't be read, or has become
  // shorter than it was.
  //
  // One call packs kMostAtOnce bytes of the file at most, so that a file which packs well does not keep the
  // thread for long. While HasMore returns true, another call continues with the same chunk.
  [[nodiscard]] bool Fill(Chunk& chunk);
  [[nodiscard]] bool HasMore() const { return more_; }

  // The same, if that takes no wait: false, and nothing has happened, if the bytes would have to come from
  // the disk or through the compressor.
  [[nodiscard]] bool FillAtOnce(Chunk& chunk);

  // Nothing comes any more.
  [[nodiscard]] bool IsAtEnd() const { return packing_ ? packing_->deflater.IsAtEnd() : position_ == Size(); }

  [[nodiscard]] std::int64_t Time() const { return status_.st_mtim.tv_sec; }
  [[nodiscard]] std::uint64_t Size() const { return static_cast<std::uint64_t>(status_.st_size); }

 private:
  [[nodiscard]] std::optional<int> CompareWith(const Compare& compare) const;

  static constexpr std::size_t kPiece = 32768;
  static constexpr std::size_t kMostAtOnce = std::size_t{1} << 20U;

  // Bytes of the file that go through the compressor.
  struct Packing {
    Deflater deflater;
    std::array<char, kPiece> piece;
  };

  [[nodiscard]] std::size_t Next(std::size_t room) const;
  bool Read(char* to, std::size_t room, std::size_t& count);
  bool FillPacked(Chunk& chunk);

  Descriptor file_;
  struct stat status_ = {};
  std::uint64_t position_ = 0;
  std::unique_ptr<Packing> packing_;
  bool more_ = false;
};

}  // namespace tvl::server

#endif
