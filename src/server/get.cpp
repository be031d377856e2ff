#include <array>
#include <memory>
#include <optional>
#include <string>

#include <tvlclient/errors.h>

#include "server/chunk.h"
#include "server/get_file.h"
#include "server/run_on.h"
#include "server/session.h"
#include "server/status/shown_transfer.h"
#include "tcp/protocol.h"

namespace tvl::server {

// A file on its way, and the two packets of it that exist at a time: one is being sent while the next is
// read.
struct Session::Transfer {
  GetFile file;
  std::array<Chunk, 2> chunks;
  unsigned int unanswered = 0;  // chunks that have been sent
  std::uint64_t sent = 0;
  bool landed = false;  // the client has received all of it, as far as the server knows
};

namespace {

constexpr char kNoData[protocol::kChunkHeadSize] = {};

// Returns the preface of the first chunk: code and time, both zero-terminated.
std::string Preface(std::int64_t time) {
  std::string preface("0\0", 2);
  preface += std::to_string(time);
  return preface += '\0';
}

std::string EndMark(std::int64_t time) {
  return std::string(kNoData, sizeof kNoData) + std::to_string(time);
}

}  // namespace

asio::awaitable<bool> Session::Get(std::string_view command) {
  const Stopwatch watch;
  const FileRequest asked = ParseFileRequest(command, Right::kRead);
  const ShownTransfer shown(*record_, ClientRecord::Direction::kGet, asked.name);
  const std::shared_ptr<Transfer> transfer(new Transfer);  // make_shared would clear the chunks
  int code = co_await OpenGet(asked, *transfer);
  if (code == TVL_OK) {
    const bool filled = co_await FillRest(*transfer, transfer->chunks[0]);
    if (!filled) code = TVL_ERR_SERVER_FILE;
  }
  bool go_on = true;
  if (code == TVL_OK) {
    go_on = co_await SendChunks(transfer);
  } else {
    go_on = co_await ReplyCode(code, asked.forbidden);
  }
  service_.status.metrics.gets[ResultOf(code, asked.forbidden, transfer->landed)].Add();
  Event event = {.what = "get", .name = asked.name, .bytes = transfer->sent, .duration = watch.Elapsed()};
  NoteMovedRoot(code, event);
  if (code != TVL_OK || transfer->landed) {
    event.code = code;
  } else {
    event.note = "interrupted";
  }
  ReportRequest(std::move(event));
  co_return go_on;
}

asio::awaitable<int> Session::OpenGet(const FileRequest& asked, Transfer& transfer) {
  if (!asked.clean || asked.forbidden) co_return TVL_ERR_SERVER_FILE;
  if (DecidesByItself(asked)) co_return TVL_ERR_IN_CACHE;
  std::optional<int> code = OpenGetAtOnce(asked, transfer);
  if (!code)
    code = co_await RunOn(service_.files, [this, &asked, &transfer] { return FindGet(asked, transfer); });
  if (code) co_return *code;
  const bool same = co_await HasSignature(transfer.file, asked.stamp);
  if (same) co_return TVL_ERR_IN_CACHE;
  const int begun = co_await RunOn(service_.files, [this, &transfer] { return BeginGet(transfer); });
  co_return begun;
}

// Returns nothing if the contents must be compared.
std::optional<int> Session::FindGet(const FileRequest& asked, Transfer& transfer) const {
  const GetFile::Compare compare = {service_.config.fileCompare, asked.stamp};
  const std::optional<int> code = transfer.file.Open(service_.root, *asked.clean, compare);
  return code == TVL_OK ? BeginGet(transfer) : code;
}

int Session::BeginGet(Transfer& transfer) const {
  if (service_.config.zipOnTransfert != 0 && !transfer.file.Pack()) return TVL_ERR_SERVER_FILE;
  return transfer.file.Fill(transfer.chunks[0]) ? TVL_OK : TVL_ERR_SERVER_FILE;
}

// Opens a small file that is cached by the system, which is faster than switching to another thread and back.
// Returns nothing if this might block.
std::optional<int> Session::OpenGetAtOnce(const FileRequest& asked, Transfer& transfer) const {
  if (service_.config.zipOnTransfert != 0) return std::nullopt;
  const GetFile::Compare compare = {service_.config.fileCompare, asked.stamp};
  const std::optional<int> code = transfer.file.OpenAtOnce(service_.root, *asked.clean, compare);
  if (code == TVL_OK && !transfer.file.FillAtOnce(transfer.chunks[0])) return std::nullopt;
  return code;
}

// Returns false to end the session, including if the file cannot be read any more: a packet of a get cannot
// contain a code, and with an end mark the client would take the incomplete file as complete.
asio::awaitable<bool> Session::SendChunks(const std::shared_ptr<Transfer>& transfer) {
  std::string preface = Preface(transfer->file.Time());
  for (std::size_t turn = 0;; turn ^= 1U) {
    Chunk& current = transfer->chunks[turn];
    Chunk& next = transfer->chunks[turn ^ 1U];
    const std::string_view packet = current.Packet(preface);
    const bool sent = co_await stream_->Send(packet);
    if (!sent) co_return false;
    if (current.Size() == 0) {  // the packet of an empty file is also the end mark
      transfer->landed = true;
      co_return true;
    }
    ++transfer->unanswered;
    transfer->sent += current.Size();
    // Reads the next packet while this one is sent.
    std::optional<Begun<bool>> ahead;
    next.SetSize(0);
    if (!transfer->file.IsAtEnd() && !transfer->file.FillAtOnce(next)) {
      ahead.emplace(service_.files, stream_->Executor(),
                    [transfer, &next] { return transfer->file.Fill(next); });
    }
    const Answered answered = co_await TakeAnswers(*transfer, window_);
    bool filled = true;
    if (ahead) filled = co_await ahead->End();
    if (answered != Answered::kAll) co_return answered == Answered::kOver;
    if (filled) filled = co_await FillRest(*transfer, next);
    if (!filled) co_return false;
    if (next.Size() == 0) break;
    preface.clear();
  }
  const std::string end_mark = EndMark(transfer->file.Time());
  const bool sent = co_await Reply(end_mark);
  if (!sent) co_return false;
  const Answered answered = co_await TakeAnswers(*transfer, 0);
  transfer->landed = answered == Answered::kAll;
  co_return answered != Answered::kGone;
}

// Fills a chunk to its end, in turns with the requests of others. False if the file cannot be read.
asio::awaitable<bool> Session::FillRest(Transfer& transfer, Chunk& chunk) {
  while (transfer.file.HasMore()) {
    const bool filled =
        co_await RunOn(service_.files, [&transfer, &chunk] { return transfer.file.Fill(chunk); });
    if (!filled) co_return false;
  }
  co_return true;
}

// Receives answers to chunks until only `left` are missing. kOver if the client has ended the get.
asio::awaitable<Session::Answered> Session::TakeAnswers(Transfer& transfer, unsigned int left) {
  while (transfer.unanswered > left) {
    std::string_view answer;
    const bool alive = co_await Receive(answer);
    if (!alive) co_return Answered::kGone;
    if (answer == protocol::kAbandon) {
      const bool marked = co_await MarkAbandoned();
      co_return marked ? Answered::kOver : Answered::kGone;
    }
    if (!answer.starts_with(protocol::kData)) {
      pending_ = answer;
      co_return Answered::kOver;
    }
    --transfer.unanswered;
  }
  co_return Answered::kAll;
}

// With a window, chunks of a get that the client has abandoned may be on their way to it; the repeated code
// marks their end. Without one there is nothing to answer.
asio::awaitable<bool> Session::MarkAbandoned() {
  if (window_ == 0) co_return true;
  const bool sent = co_await Reply(protocol::kAbandon);
  co_return sent;
}

}  // namespace tvl::server
