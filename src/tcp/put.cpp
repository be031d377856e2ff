#include <string_view>

#include "base/low_file.h"
#include "base/path_helpers.h"
#include "platform/file_times.h"
#include "tcp/state.h"
#include "transfer/compare.h"
#include "transfer/core.h"
#include "transfer/zlib_file.h"

namespace {

namespace protocol = tvl::protocol;

// The bytes to send for a file: unchanged, or compressed completely before the first one is sent.
class Source {
 public:
  Source(const char* path, bool packed) : packed_(packed), file_(path, 0) {
    is_open_ = file_.IsOpen() && (!packed || Pack(path));
  }

  [[nodiscard]] bool IsOpen() const { return is_open_; }

  // Returns the number of bytes read, 0 at the end, or kLowFailed.
  [[nodiscard]] unsigned int Read(void* buffer, unsigned int count) {
    return packed_ ? block_.Read(buffer, count) : LowRead(file_.Handle(), buffer, count);
  }

 private:
  [[nodiscard]] bool Pack(const char* path) {
    CZlib zlib;
    return zlib.CompressFile(path, block_) != 0;
  }

  bool packed_;
  tvl::LowFile file_;
  CCore block_;
  bool is_open_;
};

// Returns the text after the first field, without splitting the reply, which may be the first packet of a
// file.
std::string_view TextAfterField(std::string_view reply) {
  const std::size_t end = reply.find(protocol::kFieldSeparator);
  if (end == std::string_view::npos) return {};
  reply.remove_prefix(end + 1);
  return reply.substr(0, reply.find(protocol::kFieldSeparator));
}

}  // namespace

int CTVLClientTcpOpr::PutRemote(char* remoteName, char* localName, int* transferred) {
  if (workingDirectory[0] == 0 && !IsLive()) return TVL_ERR_TCP_SEND;
  const tvl::PathText local = tvl::JoinPath(workingDirectory, localName);
  if (workingDirectory[0] == 0 || !local.Fits()) return TVL_ERR_LOCAL_FILE;
  // If the stamp is not sent, the cheapest one is enough to see whether the file exists.
  const bool forced = *transferred != 0;
  const char* stamp = FileStamp(forced ? kCompareTime : fileCmp, local.Text());
  if (*stamp == '@') return TVL_ERR_LOCAL_FILE;
  if (!IsLive()) return TVL_ERR_TCP_SEND;
  if (forced) stamp = protocol::kForcedStamp;
  const int code = AskForTransfer(protocol::kPut, remoteName, stamp, transferred);
  if (code != TVL_OK) return code == TVL_ERR_IN_CACHE ? TVL_OK : code;
  if (const int problem = SendFile(local.Text())) return problem;
  const std::int64_t time = state->pack.WideNumericTok(1, 0);
  if (time != 0) tvl::SetFileTimes(local.Text(), time);
  *transferred = 1;
  return TVL_OK;
}

// The first request of a get or put. Returns 0 if the file is to be transferred, TVL_ERR_IN_CACHE with
// `transferred` 0 if both copies are the same, or a failure.
int CTVLClientTcpOpr::AskForTransfer(char letter, const char* remoteName, const char* stamp,
                                     int* transferred) {
  tvl::Packets& pack = state->pack;
  state->refused = false;
  if (pack.Add2Pack(1, "%c%s\t%s", letter, remoteName, stamp) == 0) return TVL_ERR_SERVER_FILE;
  if (pack.PackSend() == 0) return TVL_ERR_TCP_SEND;
  if (pack.PackReceive() == 0) return TVL_ERR_TCP_RECEIVE;
  if (*pack.Payload() == 0) return TVL_ERR_NOT_SUPPORTED;
  const int code = tvl::NearestInt(tvl::LeadingNumber(pack.Payload()));
  if (code == TVL_ERR_IN_CACHE) {
    *transferred = 0;
  } else if (code != TVL_OK) {
    state->NoteRefusal(TextAfterField(pack.Payload()));
  }
  return code;
}

// Sends the file that the server is ready for, packet by packet; an empty one ends it. As many packets as the
// window allows follow one that has not been answered, and all answers are received, also after a failure.
// The fields are those of the last reply.
int CTVLClientTcpOpr::SendFile(const char* path) {
  tvl::Packets& pack = state->pack;
  Source source(path, zipOnTransfert != 0);
  if (!source.IsOpen()) return TVL_ERR_LOCAL_FILE;
  unsigned int unanswered = 0;
  unsigned int count = 0;
  int result = TVL_OK;
  do {
    count = source.Read(pack.Chunk(), protocol::kPutChunk);
    if (count == kLowFailed) {
      result = TVL_ERR_LOCAL_FILE;
      break;
    }
    pack.PackChunk(count);
    if (pack.PackSend() == 0) return TVL_ERR_TCP_SEND;
    ++unanswered;
    if (!TakeAnswers(unanswered, state->window, result)) return TVL_ERR_TCP_RECEIVE;
  } while (count > 0 && result == TVL_OK);
  return TakeAnswers(unanswered, 0, result) ? result : TVL_ERR_TCP_RECEIVE;
}

// Receives the answers to packets of a put until only `left` are missing. The first refusal among them
// becomes the result. False if the connection is lost.
bool CTVLClientTcpOpr::TakeAnswers(unsigned int& unanswered, unsigned int left, int& result) {
  tvl::Packets& pack = state->pack;
  for (; unanswered > left; --unanswered) {
    if (pack.PackReceive() == 0) return false;
    pack.Unpack2Toks(protocol::kFieldSeparator);
    const int refusal = pack.NumericTok(0, 0);
    if (refusal == TVL_OK || result != TVL_OK) continue;
    state->NoteRefusal(pack.StringTok(1, ""));
    result = refusal;
  }
  return true;
}
