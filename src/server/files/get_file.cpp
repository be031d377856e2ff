#include "server/files/get_file.h"

#include <fcntl.h>
#include <sys/uio.h>

#include <algorithm>
#include <optional>

#include "host/system_calls.h"

namespace tvl::server {

bool GetFile::Open(const StoreRoot& root, const std::string& name) {
  const std::optional<Place> place = root.Find(name);
  return place && Open(root, *place);
}

bool GetFile::Open(const StoreRoot& root, const Place& place) {
  file_ = root.OpenToRead(place, status_);
  return file_.IsOpen();
}

bool GetFile::OpenAtOnce(const StoreRoot& root, const std::string& name) {
  file_ = root.OpenAtOnce(name, status_);
  return file_.IsOpen();
}

bool GetFile::Pack() {
  packing_ = std::make_unique<Packing>();
  return packing_->deflater.IsReady();
}

bool GetFile::Fill(Chunk& chunk) {
  std::size_t count = 0;
  if (packing_) return FillPacked(chunk);
  if (!Read(chunk.Data(), Chunk::kMost, count)) return false;
  chunk.SetSize(count);
  return true;
}

bool GetFile::FillAtOnce(Chunk& chunk) {
  if (packing_) return false;
  const std::size_t size = Next(Chunk::kMost);
  const iovec place = {chunk.Data(), size};
  const ssize_t count = System().preadv2(file_.Get(), &place, 1, static_cast<off_t>(position_), RWF_NOWAIT);
  if (count != static_cast<ssize_t>(size)) return false;
  position_ += size;
  chunk.SetSize(size);
  return true;
}

// Returns the number of bytes to read next. A file that has grown ends where it ended when its time was read.
std::size_t GetFile::Next(std::size_t capacity) const {
  return static_cast<std::size_t>(std::min<std::uint64_t>(capacity, Size() - position_));
}

// Reads the next bytes of the file, as many as fit; none at the end.
bool GetFile::Read(char* to, std::size_t room, std::size_t& count) {
  room = Next(room);
  for (count = 0; count < room;) {
    const ssize_t more = System().pread(file_.Get(), to + count, room - count, static_cast<off_t>(position_));
    if (more < 0 && errno == EINTR) continue;
    if (more <= 0) return false;
    count += static_cast<std::size_t>(more);
    position_ += static_cast<std::uint64_t>(more);
  }
  return true;
}

bool GetFile::FillPacked(Chunk& chunk) {
  std::size_t filled = more_ ? chunk.Size() : 0;
  const std::uint64_t end = position_ + kMostAtOnce;
  more_ = false;
  while (filled < Chunk::kMost && !more_) {
    const auto room = static_cast<unsigned int>(Chunk::kMost - filled);
    const unsigned int produced = packing_->deflater.Take(chunk.Data() + filled, room);
    filled += produced;
    if (produced > 0) continue;
    if (packing_->deflater.IsAtEnd()) break;
    std::size_t count = 0;
    if (!Read(packing_->piece.data(), kPiece, count)) return false;
    packing_->deflater.Put(packing_->piece.data(), static_cast<unsigned int>(count));
    more_ = position_ >= end;
  }
  chunk.SetSize(filled);
  return true;
}

}  // namespace tvl::server
