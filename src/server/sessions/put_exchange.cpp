#include "server/sessions/put_exchange.h"

#include <string>
#include <utility>

#include <tvlclient/errors.h>

#include "server/files/put_file.h"
#include "server/sessions/run_on.h"
#include "tcp/protocol.h"

namespace tvl::server {

// A file that is being received, with two buffers: one is filled while the other one is written.
struct PutExchange::Transfer {
  static constexpr std::size_t kBlock = 3 * protocol::kPutChunk;

  GetFile stored;  // the existing file, while it is compared
  std::unique_ptr<PutFile> file;
  std::string gathered;
  std::string written;
  std::optional<Begun<int>> write;
};

PutExchange::PutExchange(Service& service, Conversation& client, ClientRecord& record, FileRequest asked)
    : FileExchange(service, client, record, Direction::kPut, std::move(asked)),
      transfer_(std::make_shared<Transfer>()) {}

asio::awaitable<bool> PutExchange::Run() {
  code_ = co_await Open();
  bool go_on = co_await client_.ReplyCode(code_, asked_.forbidden);
  if (go_on && code_ == TVL_OK) go_on = co_await TakeChunks();
  co_await Drop();
  interrupted_ = (!go_on || client_.IsInterrupted()) && !landed_;
  service_.status.metrics.puts[Result()].Add();
  co_return go_on;
}

asio::awaitable<int> PutExchange::Open() {
  if (const std::optional<int> code = DecideWithoutFile()) co_return *code;
  const std::optional<int> code = co_await RunOn(service_.files, [this] { return Find(); });
  if (code) co_return *code;
  const bool same = co_await HasSignature(transfer_->stored);
  if (same) co_return TVL_ERR_IN_CACHE;
  const int begun = co_await RunOn(service_.files, [this] { return BeginAfterCompare(); });
  co_return begun;
}

// Returns nothing if the contents must be compared to find out whether both files are the same.
std::optional<int> PutExchange::Find() const {
  const PutFile::Shared shared = {service_.root, service_.parts, service_.made_folders};
  const PutFile::Limits limits = {service_.options.max_file, service_.options.min_free};
  transfer_->file = std::make_unique<PutFile>(shared, limits, IsPacked());
  if (const int code = transfer_->file->Find(*asked_.clean)) return Refuse(code);
  GetFile& stored = transfer_->stored;
  if (asked_.stamp == protocol::kForcedStamp || !stored.Open(service_.root, transfer_->file->Target()))
    return Begin();
  const std::optional<int> compared = Compare(stored);
  if (!compared) return std::nullopt;
  return compared == TVL_OK ? Begin() : Refuse(*compared);
}

int PutExchange::Begin() const {
  transfer_->stored = GetFile();
  const int code = transfer_->file->Begin();
  return code == TVL_OK ? code : Refuse(code);
}

// The comparison may have taken long enough for the root to be moved.
int PutExchange::BeginAfterCompare() const {
  return service_.root.IsInPlace() ? Begin() : Refuse(TVL_ERR_SERVER_FILE);
}

// A client that has the code finds nothing left of its put.
int PutExchange::Refuse(int code) const {
  transfer_->file.reset();
  return code;
}

asio::awaitable<bool> PutExchange::TakeChunks() {
  for (;;) {
    std::string_view packet;
    const bool came = co_await client_.Receive(packet);
    if (!came) co_return false;
    if (!packet.starts_with(protocol::kData)) {
      client_.Interrupt(packet);
      co_return true;
    }
    const std::string_view data = packet.substr(1);
    std::int64_t time = 0;
    if (data.empty()) {
      code_ = co_await End(time);
      landed_ = code_ == TVL_OK;
    } else {
      code_ = co_await TakeChunk(data);
    }
    std::string answer = std::to_string(code_);
    const bool ended = data.empty() || code_ != TVL_OK;
    if (landed_) answer += protocol::kFieldSeparator + std::to_string(time);
    if (code_ != TVL_OK) {
      co_await Drop();  // before the client has the code
      client_.ExpectRefusedChunks(code_);
    }
    const bool sent = co_await client_.Reply(answer);
    if (!sent || ended) co_return sent;
  }
}

// Uncompressed data is written several packets at a time while the client prepares the next one, so a failed
// write is reported some packets later, at the latest at the end.
asio::awaitable<int> PutExchange::TakeChunk(std::string_view data) {
  const std::shared_ptr<Transfer> transfer = transfer_;
  bytes_ += data.size();
  int code = TVL_OK;
  if (transfer->file->IsPacked()) {
    code = co_await TakePackedChunk(data);
    co_return code;
  }
  if (!transfer->file->MayHave(bytes_)) co_return TVL_ERR_COPY;
  transfer->gathered += data;
  if (transfer->gathered.size() < Transfer::kBlock) co_return code;
  code = co_await LastWrite();
  if (code != TVL_OK) co_return code;
  transfer->written.swap(transfer->gathered);
  transfer->gathered.clear();
  transfer->write.emplace(service_.files, client_.Executor(), [transfer] {
    return transfer->file->Write(transfer->written.data(), transfer->written.size());
  });
  co_return code;
}

// Errors in a compressed stream are reported at once.
asio::awaitable<int> PutExchange::TakePackedChunk(std::string_view data) {
  int code = co_await RunOn(service_.files,
                            [this, data] { return transfer_->file->Write(data.data(), data.size()); });
  while (code == TVL_OK && transfer_->file->HasMore()) {
    code = co_await RunOn(service_.files, [this] { return transfer_->file->Continue(); });
  }
  co_return code;
}

asio::awaitable<int> PutExchange::LastWrite() {
  if (!transfer_->write) co_return TVL_OK;
  const int code = co_await transfer_->write->End();
  transfer_->write.reset();
  co_return code;
}

asio::awaitable<int> PutExchange::End(std::int64_t& time) {
  int code = co_await LastWrite();
  if (code != TVL_OK) co_return code;
  code = co_await RunOn(service_.files, [this, &time] {
    const int rest = transfer_->file->Write(transfer_->gathered.data(), transfer_->gathered.size());
    return rest != TVL_OK ? rest : transfer_->file->End(time);
  });
  co_return code;
}

// Closes the file, which removes an unfinished part.
asio::awaitable<void> PutExchange::Drop() {
  co_await LastWrite();
  if (!transfer_->file) co_return;
  co_await RunOn(service_.files, [this] {
    transfer_->file.reset();
    return 0;
  });
}

}  // namespace tvl::server
