#include <cstring>
#include <optional>
#include <string_view>

#include "base/path_helpers.h"
#include "platform/target_file.h"
#include "tcp/safe_transfers.h"
#include "tcp/state.h"
#include "transfer/compare.h"
#include "transfer/core.h"
#include "transfer/zlib_file.h"

namespace {

using std::string_view;
using tvl::Packets;
namespace protocol = tvl::protocol;

constexpr std::size_t kTimeOffset = protocol::kChunkHeadSize;  // in the packet that ends a get

// The local file of a get. It is written as it arrives or, if it is compressed, collected first.
//
// What cannot be kept makes the copy a failure, which Finish returns. The exchange goes on to its end
// meanwhile, unless a window allows to end it at any chunk.
class LocalCopy {
 public:
  LocalCopy(const char* path, bool packed)
      : packed_(packed), target_(path, {tvl::SafetyOf(tvl::safe_transfers)}, nullptr) {}

  // Returns false if the target cannot be opened and truncated.
  [[nodiscard]] bool Begin() { return target_.IsOpen() && target_.Empty(); }

  void Take(string_view chunk) {
    if (!failed_) failed_ = packed_ ? !Gather(chunk) : !target_.Write(chunk.data(), chunk.size());
  }

  // True once something could not be kept.
  [[nodiscard]] bool HasFailed() const { return failed_; }

  // Completes the file and sets its time. Returns TVL_OK, TVL_ERR_LOCAL_FILE or TVL_ERR_UNZIP.
  [[nodiscard]] int Finish(std::int64_t time) {
    CZlib zlib;
    if (packed_ && (failed_ || zlib.DecompressFile(block_, target_) == 0)) return TVL_ERR_UNZIP;
    if (failed_) return TVL_ERR_LOCAL_FILE;
    const FILETIME times = {time, 0};
    target_.SetTimes(&times, times);
    if (target_.Finish()) return TVL_OK;
    return packed_ ? TVL_ERR_UNZIP : TVL_ERR_LOCAL_FILE;
  }

 private:
  [[nodiscard]] bool Gather(string_view chunk) {
    const std::uint32_t before = block_.length;
    return block_.Append(chunk.data(), static_cast<std::int32_t>(chunk.size())) == before + chunk.size();
  }

  bool packed_;
  tvl::TargetFile target_;
  CCore block_;
  bool failed_ = false;
};

// Returns the chunk of a file at `offset` in the reply; nothing if it is incomplete.
std::optional<string_view> Chunk(const Packets& reply, std::size_t offset) {
  const std::size_t begin = offset + protocol::kChunkHeadSize;
  if (begin > reply.PayloadLength()) return std::nullopt;
  const std::size_t count = protocol::ReadLength(reply.Payload() + offset);
  if (count > reply.PayloadLength() - begin) return std::nullopt;
  return string_view(reply.Payload() + begin, count);
}

// Returns the first chunk, which follows two texts.
std::optional<string_view> FirstChunk(const Packets& reply) {
  std::size_t offset = std::strlen(reply.Payload()) + 1;
  if (offset > reply.PayloadLength()) return std::nullopt;
  offset += std::strlen(reply.Payload() + offset) + 1;
  return Chunk(reply, offset);
}

// Returns the time in the packet that ended a get. A negative time is taken as an unsigned number of 32 bits.
std::int64_t FileTime(const Packets& reply) {
  const std::int64_t time = tvl::LeadingNumber(reply.Payload() + kTimeOffset);
  return time < 0 ? static_cast<std::uint32_t>(time) : time;
}

// Ends a get whose file cannot be written, instead of answering a chunk. With a window, chunks that are on
// their way are dropped up to the mark that follows them. False if the connection is lost.
bool Abandon(Packets& pack, unsigned int window) {
  pack.Add2Pack(1, "%s", protocol::kAbandon);
  if (pack.PackSend() == 0) return false;
  bool marked = window == 0;
  while (!marked) {
    if (pack.PackReceive() == 0) return false;
    marked = string_view(pack.Payload(), pack.PayloadLength()) == protocol::kAbandon;
  }
  return true;
}

// Receives chunks up to the empty one. Returns false if the connection is lost or the server violates the
// protocol. The server prepares the next chunk while the last one is being written.
bool TakeChunks(Packets& pack, string_view chunk, LocalCopy& copy, unsigned int window) {
  while (!chunk.empty()) {
    if (window > 0 && copy.HasFailed()) return Abandon(pack, window);
    const bool asked = pack.SendLetter(protocol::kData) != 0;
    copy.Take(chunk);
    if (!asked || pack.PackReceive() == 0) return false;
    const std::optional<string_view> next = Chunk(pack, 0);
    if (!next) return false;
    chunk = *next;
  }
  return true;
}

}  // namespace

int CTVLClientTcpOpr::GetRemote(char* remoteName, char* localName, int* transferred) {
  if (!IsLive()) return TVL_ERR_TCP_SEND;
  if (workingDirectory[0] == 0) return TVL_ERR_LOCAL_FILE;
  const tvl::PathText local = tvl::BuildFullPath(workingDirectory, localName);
  if (!local.Fits()) return TVL_ERR_LOCAL_FILE;
  const char* stamp = *transferred != 0 ? protocol::kForcedStamp : FileStamp(fileCmp, local.Text());
  const int code = AskForTransfer(protocol::kGet, remoteName, stamp, transferred);
  if (code != TVL_OK) return code == TVL_ERR_IN_CACHE ? TVL_OK : code;
  if (const int problem = ReceiveFile(local.Text())) return problem;
  *transferred = 1;
  return TVL_OK;
}

// Receives the file whose first reply has arrived.
int CTVLClientTcpOpr::ReceiveFile(const char* path) {
  Packets& pack = state->pack;
  const std::optional<string_view> first = FirstChunk(pack);
  if (!first) {
    state->socket.Abandon();
    return TVL_ERR_TCP_RECEIVE;
  }
  LocalCopy copy(path, zipOnTransfert != 0);
  if (!copy.Begin()) {
    if (!Abandon(pack, state->window)) state->socket.Abandon();
    return TVL_ERR_LOCAL_FILE;
  }
  if (!TakeChunks(pack, *first, copy, state->window)) {
    state->socket.Abandon();
    return TVL_ERR_TCP_SEND;
  }
  return copy.Finish(FileTime(pack));
}
