#include <cstring>
#include <optional>
#include <string_view>

#include "base/low_file.h"
#include "base/path_helpers.h"
#include "platform/utime.h"
#include "tcp/state.h"
#include "transfer/compare.h"
#include "transfer/core.h"
#include "transfer/zlib_file.h"

namespace {

using std::string_view;
using tvl::Packets;
namespace protocol = tvl::protocol;

constexpr std::size_t kTimeOffset = protocol::kChunkHeadSize;  // in the packet that ends a get

// The file as it arrives, written at once or, if it travels compressed, gathered first.
//
// What can't be kept makes the copy a failure, which Finish tells; the exchange goes on to its end meanwhile.
class LocalCopy {
 public:
  LocalCopy(const char* path, bool packed) : path_(path), packed_(packed), file_(path, kLowRewrite) {
    is_open_ = file_.IsOpen();
    // Opening was only a test then, and emptied the file.
    if (is_open_ && packed) failed_ = !file_.Close();
  }

  [[nodiscard]] bool IsOpen() const { return is_open_; }

  void Take(string_view chunk) {
    if (!failed_) failed_ = packed_ ? !Gather(chunk) : !Write(chunk);
  }

  // 0 if the whole file is there, else 21 or 28.
  [[nodiscard]] int Finish() {
    if (!packed_) return file_.Close() && !failed_ ? TVL_OK : TVL_ERR_LOCAL_FILE;
    CZlib zlib;
    return !failed_ && zlib.DecompressFile(block_, path_) != 0 ? TVL_OK : TVL_ERR_UNZIP;
  }

 private:
  [[nodiscard]] bool Write(string_view chunk) {
    const auto count = static_cast<unsigned int>(chunk.size());
    return LowWrite(file_.Handle(), const_cast<char*>(chunk.data()), count) == count;
  }

  [[nodiscard]] bool Gather(string_view chunk) {
    const std::uint32_t before = block_.length;
    return block_.Append(chunk.data(), static_cast<std::int32_t>(chunk.size())) == before + chunk.size();
  }

  const char* path_;
  bool packed_;
  tvl::LowFile file_;
  CCore block_;
  bool is_open_ = false;
  bool failed_ = false;
};

// The chunk of a file that begins at `offset` of the reply; nothing if it is not whole in there.
std::optional<string_view> Chunk(const Packets& reply, std::size_t offset) {
  const std::size_t begin = offset + protocol::kChunkHeadSize;
  if (begin > reply.PayloadLength()) return std::nullopt;
  const std::size_t count = protocol::ReadLength(reply.Payload() + offset);
  if (count > reply.PayloadLength() - begin) return std::nullopt;
  return string_view(reply.Payload() + begin, count);
}

// The first chunk stands behind two texts.
std::optional<string_view> FirstChunk(const Packets& reply) {
  std::size_t offset = std::strlen(reply.Payload()) + 1;
  if (offset > reply.PayloadLength()) return std::nullopt;
  offset += std::strlen(reply.Payload() + offset) + 1;
  return Chunk(reply, offset);
}

// The time in the packet that ended a get. A negative one counts as unsigned, in 32 bits.
std::int64_t FileTime(const Packets& reply) {
  const std::int64_t time = tvl::LeadingNumber(reply.Payload() + kTimeOffset);
  return time < 0 ? static_cast<std::uint32_t>(time) : time;
}

// Takes the chunks as they come, up to the empty one. False if the connection is lost, or the server doesn't
// keep to the packets. The server makes the next chunk ready while the last is being written.
bool TakeChunks(Packets& pack, string_view chunk, LocalCopy& copy) {
  while (!chunk.empty()) {
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
  _utime64(local.Text(), FileTime(state->pack));
  *transferred = 1;
  return TVL_OK;
}

// Fetches the file of which the first reply has come.
int CTVLClientTcpOpr::ReceiveFile(const char* path) {
  Packets& pack = state->pack;
  const std::optional<string_view> first = FirstChunk(pack);
  if (!first) {
    state->socket.GiveUp();
    return TVL_ERR_TCP_RECEIVE;
  }
  LocalCopy copy(path, zipOnTransfert != 0);
  if (!copy.IsOpen()) {
    pack.Add2Pack(1, "%s", protocol::kAbandon);
    pack.PackSend();
    return TVL_ERR_LOCAL_FILE;
  }
  if (!TakeChunks(pack, *first, copy)) {
    state->socket.GiveUp();
    return TVL_ERR_TCP_SEND;
  }
  return copy.Finish();
}
