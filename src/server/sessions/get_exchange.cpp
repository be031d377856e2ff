#include "server/sessions/get_exchange.h"

#include <array>
#include <string>
#include <string_view>
#include <utility>

#include <tvlclient/errors.h>

#include "server/sessions/run_on.h"
#include "tcp/protocol.h"

namespace tvl::server {

// A file and the two packets of it that exist at a time: one is being sent while the next is read.
struct GetExchange::Transfer {
  GetFile file;
  std::array<Chunk, 2> chunks;
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

GetExchange::GetExchange(Service& service, Conversation& client, ClientRecord& record, FileRequest asked)
    : FileExchange(service, client, record, Direction::kGet, std::move(asked)),
      transfer_(new Transfer) {}  // make_shared would clear the chunks

asio::awaitable<bool> GetExchange::Run() {
  code_ = co_await Open();
  if (code_ == TVL_OK) {
    const bool filled = co_await FillRest(transfer_->chunks[0]);
    if (!filled) code_ = TVL_ERR_SERVER_FILE;
  }
  bool go_on = true;
  if (code_ == TVL_OK) {
    go_on = co_await SendChunks();
  } else {
    go_on = co_await client_.ReplyCode(code_, asked_.forbidden);
  }
  interrupted_ = code_ == TVL_OK && !landed_;
  service_.status.metrics.gets[Result()].Add();
  co_return go_on;
}

// A small file that is cached by the system is opened and read here, which is faster than switching to
// another thread and back.
asio::awaitable<int> GetExchange::Open() {
  if (const std::optional<int> code = DecideWithoutFile()) co_return *code;
  if (!OpenAtOnce()) {
    const std::optional<int> code = co_await RunOn(service_.files, [this] { return Find(); });
    if (code) co_return *code;
  }
  const std::optional<int> compared = Compare(transfer_->file);
  if (compared == TVL_ERR_IN_CACHE) co_return *compared;
  if (!compared) {
    const bool same = co_await HasSignature(transfer_->file);
    if (same) co_return TVL_ERR_IN_CACHE;
  }
  if (!IsPacked() && transfer_->file.FillAtOnce(transfer_->chunks[0])) co_return TVL_OK;
  const int begun = co_await RunOn(service_.files, [this] { return Begin(); });
  co_return begun;
}

// Returns false if this might block.
bool GetExchange::OpenAtOnce() const {
  return !IsPacked() && transfer_->file.OpenAtOnce(service_.root, *asked_.clean);
}

// Returns nothing if the contents must be compared.
std::optional<int> GetExchange::Find() const {
  if (!transfer_->file.Open(service_.root, *asked_.clean)) return TVL_ERR_SERVER_FILE;
  const std::optional<int> compared = Compare(transfer_->file);
  return compared == TVL_OK ? Begin() : compared;
}

int GetExchange::Begin() const {
  if (IsPacked() && !transfer_->file.Pack()) return TVL_ERR_SERVER_FILE;
  return transfer_->file.Fill(transfer_->chunks[0]) ? TVL_OK : TVL_ERR_SERVER_FILE;
}

asio::awaitable<bool> GetExchange::SendChunks() {
  const std::shared_ptr<Transfer> transfer = transfer_;
  std::string preface = Preface(transfer->file.Time());
  for (std::size_t turn = 0;; turn ^= 1U) {
    Chunk& current = transfer->chunks[turn];
    Chunk& next = transfer->chunks[turn ^ 1U];
    const std::string_view packet = current.Packet(preface);
    const bool sent = co_await client_.Send(packet);
    if (!sent) co_return false;
    if (current.Size() == 0) {  // the packet of an empty file is also the end mark
      landed_ = true;
      co_return true;
    }
    ++unanswered_;
    bytes_ += current.Size();
    // Reads the next packet while this one is sent.
    std::optional<Begun<bool>> ahead;
    next.SetSize(0);
    if (!transfer->file.IsAtEnd() && !transfer->file.FillAtOnce(next)) {
      ahead.emplace(service_.files, client_.Executor(),
                    [transfer, &next] { return transfer->file.Fill(next); });
    }
    const Answered answered = co_await TakeAnswers(client_.Window());
    bool filled = true;
    if (ahead) filled = co_await ahead->End();
    if (answered != Answered::kAll) co_return answered == Answered::kOver;
    if (filled) filled = co_await FillRest(next);
    if (!filled) co_return false;
    if (next.Size() == 0) break;
    preface.clear();
  }
  const bool go_on = co_await SendEndMark();
  co_return go_on;
}

asio::awaitable<bool> GetExchange::SendEndMark() {
  const std::string end_mark = EndMark(transfer_->file.Time());
  const bool sent = co_await client_.Reply(end_mark);
  if (!sent) co_return false;
  const Answered answered = co_await TakeAnswers(0);
  landed_ = answered == Answered::kAll;
  co_return answered != Answered::kGone;
}

// Fills a chunk to its end, in turns with the requests of others. Returns false if the file cannot be read.
asio::awaitable<bool> GetExchange::FillRest(Chunk& chunk) {
  while (transfer_->file.HasMore()) {
    const bool filled =
        co_await RunOn(service_.files, [this, &chunk] { return transfer_->file.Fill(chunk); });
    if (!filled) co_return false;
  }
  co_return true;
}

// Receives answers to chunks until only `left` are missing. kOver if the client has ended the get.
asio::awaitable<GetExchange::Answered> GetExchange::TakeAnswers(unsigned int left) {
  while (unanswered_ > left) {
    std::string_view answer;
    const bool alive = co_await client_.Receive(answer);
    if (!alive) co_return Answered::kGone;
    if (answer == protocol::kAbandon) {
      const bool marked = co_await client_.MarkAbandoned();
      co_return marked ? Answered::kOver : Answered::kGone;
    }
    if (!answer.starts_with(protocol::kData)) {
      client_.Interrupt(answer);
      co_return Answered::kOver;
    }
    --unanswered_;
  }
  co_return Answered::kAll;
}

}  // namespace tvl::server
