#ifndef TVL_SERVER_FILES_GET_FILE_H
#define TVL_SERVER_FILES_GET_FILE_H

#include <sys/stat.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "host/descriptor.h"
#include "server/files/chunk.h"
#include "server/files/store_root.h"
#include "transfer/zlib_stream.h"

namespace tvl::server {

// A file that is sent to a client, in its state when it was opened: a put with the same name creates another
// file. Used by one thread at a time. All functions may wait for the disk.
class GetFile {
 public:
  // Open the file of a clean name or at a place. Return false if it does not exist or clients must not access
  // it.
  [[nodiscard]] bool Open(const StoreRoot& root, const std::string& name);
  [[nodiscard]] bool Open(const StoreRoot& root, const Place& place);

  // The same without blocking. Returns false also if it might block.
  [[nodiscard]] bool OpenAtOnce(const StoreRoot& root, const std::string& name);

  // Return the open file, and its status at the time of opening.
  [[nodiscard]] int Number() const { return file_.Get(); }
  [[nodiscard]] const struct stat& Status() const { return status_; }

  // From now on Fill returns a zlib stream. Returns false if memory ran out.
  [[nodiscard]] bool Pack();

  // Fills the chunk with the next bytes; none at the end. Returns false if the file cannot be read or has
  // become shorter.
  //
  // One call packs kMostAtOnce bytes of the file at most, so that a file which packs well does not keep the
  // thread for long. While HasMore returns true, another call continues with the same chunk.
  [[nodiscard]] bool Fill(Chunk& chunk);
  [[nodiscard]] bool HasMore() const { return more_; }

  // The same without blocking. Returns false, without an effect, if the bytes must be read from the disk or
  // compressed.
  [[nodiscard]] bool FillAtOnce(Chunk& chunk);

  // Returns true if there are no more bytes.
  [[nodiscard]] bool IsAtEnd() const { return packing_ ? packing_->deflater.IsAtEnd() : position_ == Size(); }

  [[nodiscard]] std::int64_t Time() const { return status_.st_mtim.tv_sec; }
  [[nodiscard]] std::uint64_t Size() const { return static_cast<std::uint64_t>(status_.st_size); }

 private:
  static constexpr std::size_t kPiece = 32768;
  static constexpr std::size_t kMostAtOnce = std::size_t{1} << 20U;

  // The state of the compression.
  struct Packing {
    Deflater deflater;
    std::array<char, kPiece> piece;
  };

  [[nodiscard]] std::size_t Next(std::size_t capacity) const;
  bool Read(char* to, std::size_t capacity, std::size_t& count);
  bool FillPacked(Chunk& chunk);

  Descriptor file_;
  struct stat status_ = {};
  std::uint64_t position_ = 0;
  std::unique_ptr<Packing> packing_;
  bool more_ = false;
};

}  // namespace tvl::server

#endif
