#include <memory>
#include <string>

#include <tvlclient/errors.h>

#include "server/get_file.h"
#include "server/put_file.h"
#include "server/run_on.h"
#include "server/session.h"
#include "server/status/shown_transfer.h"
#include "tcp/protocol.h"

namespace tvl::server {

// A file that is being received, with two buffers: one is filled while the other one is written.
struct Session::PutTransfer {
  static constexpr std::size_t kBlock = 3 * protocol::kPutChunk;

  GetFile stored;  // the existing file, while it is compared
  std::unique_ptr<PutFile> file;
  std::string gathered;
  std::string written;
  std::optional<Begun<int>> write;
  std::uint64_t taken = 0;
  int code = TVL_OK;
  bool landed = false;
};

asio::awaitable<bool> Session::Put(std::string_view command) {
  const Stopwatch watch;
  const FileRequest asked = ParseFileRequest(command, Right::kWrite);
  const ShownTransfer shown(*record_, ClientRecord::Direction::kPut, asked.name);
  auto transfer = std::make_shared<PutTransfer>();
  transfer->code = co_await OpenPut(asked, *transfer);
  bool go_on = co_await ReplyCode(transfer->code, asked.forbidden);
  if (go_on && transfer->code == TVL_OK) go_on = co_await TakeChunks(transfer);
  co_await DropPut(transfer);
  service_.status.metrics.puts[ResultOf(transfer->code, asked.forbidden, transfer->landed)].Add();
  Event event = {.what = "put", .name = asked.name, .bytes = transfer->taken, .duration = watch.Elapsed()};
  NoteMovedRoot(transfer->code, event);
  if (transfer->code != TVL_OK || transfer->landed) event.code = transfer->code;
  if ((!go_on || pending_) && !transfer->landed) event.note = "interrupted";
  ReportRequest(std::move(event));
  co_return go_on;
}

asio::awaitable<int> Session::OpenPut(const FileRequest& asked, PutTransfer& transfer) {
  if (!asked.clean || asked.forbidden) co_return TVL_ERR_SERVER_FILE;
  if (DecidesByItself(asked)) co_return TVL_ERR_IN_CACHE;
  const std::optional<int> code =
      co_await RunOn(service_.files, [this, &asked, &transfer] { return FindPut(asked, transfer); });
  if (code) co_return *code;
  const bool same = co_await HasSignature(transfer.stored, asked.stamp);
  if (same) co_return TVL_ERR_IN_CACHE;
  const int begun =
      co_await RunOn(service_.files, [this, &asked, &transfer] { return BeginPut(*asked.clean, transfer); });
  co_return begun;
}

// Returns nothing if the contents must be compared to find out whether both files are the same.
std::optional<int> Session::FindPut(const FileRequest& asked, PutTransfer& transfer) {
  const std::string& name = *asked.clean;
  if (asked.stamp == protocol::kForcedStamp) return BeginPut(name, transfer);
  const GetFile::Compare compare = {service_.config.fileCompare, asked.stamp};
  const std::optional<int> code = transfer.stored.Open(service_.root, name, compare);
  return !code || code == TVL_ERR_IN_CACHE ? code : BeginPut(name, transfer);
}

int Session::BeginPut(const std::string& name, PutTransfer& transfer) {
  transfer.stored = GetFile();
  const PutFile::Shared shared = {service_.root, service_.parts, service_.made_folders};
  const PutFile::Limits limits = {service_.options.max_file, service_.options.min_free};
  auto file = std::make_unique<PutFile>(shared, limits, service_.config.zipOnTransfert != 0);
  if (const int code = file->Find(name)) return code;
  if (const int code = file->Begin()) return code;
  transfer.file = std::move(file);
  return TVL_OK;
}

asio::awaitable<bool> Session::TakeChunks(const std::shared_ptr<PutTransfer>& transfer) {
  for (;;) {
    std::string_view packet;
    const bool came = co_await Receive(packet);
    if (!came) co_return false;
    if (!packet.starts_with(protocol::kData)) {
      pending_ = packet;
      co_return true;
    }
    const std::string_view data = packet.substr(1);
    std::int64_t time = 0;
    if (data.empty()) {
      transfer->code = co_await EndPut(transfer, time);
      transfer->landed = transfer->code == TVL_OK;
    } else {
      transfer->code = co_await TakeChunk(transfer, data);
    }
    std::string answer = std::to_string(transfer->code);
    const bool ended = data.empty() || transfer->code != TVL_OK;
    if (data.empty() && transfer->code == TVL_OK) answer += protocol::kFieldSeparator + std::to_string(time);
    if (transfer->code != TVL_OK) {
      co_await DropPut(transfer);  // a client that has the code finds nothing left of it
      if (window_ > 0) refused_put_ = transfer->code;
    }
    const bool sent = co_await Reply(answer);
    if (!sent || ended) co_return sent;
  }
}

// Uncompressed data is written several packets at a time while the client prepares the next one, so a failed
// write is reported some packets later, at the latest at the end. Errors in a compressed stream are reported
// at once.
asio::awaitable<int> Session::TakeChunk(const std::shared_ptr<PutTransfer>& transfer, std::string_view data) {
  transfer->taken += data.size();
  int code = TVL_OK;
  if (transfer->file->IsPacked()) {
    code = co_await RunOn(service_.files,
                          [&transfer, data] { return transfer->file->Write(data.data(), data.size()); });
    while (code == TVL_OK && transfer->file->HasMore()) {
      code = co_await RunOn(service_.files, [&transfer] { return transfer->file->Continue(); });
    }
    co_return code;
  }
  if (!transfer->file->MayHave(transfer->taken)) co_return TVL_ERR_COPY;
  transfer->gathered += data;
  if (transfer->gathered.size() < PutTransfer::kBlock) co_return code;
  code = co_await LastWrite(*transfer);
  if (code != TVL_OK) co_return code;
  transfer->written.swap(transfer->gathered);
  transfer->gathered.clear();
  transfer->write.emplace(service_.files, stream_->Executor(), [transfer] {
    return transfer->file->Write(transfer->written.data(), transfer->written.size());
  });
  co_return code;
}

asio::awaitable<int> Session::LastWrite(PutTransfer& transfer) {
  if (!transfer.write) co_return TVL_OK;
  const int code = co_await transfer.write->End();
  transfer.write.reset();
  co_return code;
}

asio::awaitable<int> Session::EndPut(const std::shared_ptr<PutTransfer>& transfer, std::int64_t& time) {
  int code = co_await LastWrite(*transfer);
  if (code != TVL_OK) co_return code;
  code = co_await RunOn(service_.files, [&transfer, &time] {
    const int rest = transfer->file->Write(transfer->gathered.data(), transfer->gathered.size());
    return rest != TVL_OK ? rest : transfer->file->End(time);
  });
  co_return code;
}

// Closes the file, which removes an unfinished part.
asio::awaitable<void> Session::DropPut(const std::shared_ptr<PutTransfer>& transfer) {
  co_await LastWrite(*transfer);
  if (!transfer->file) co_return;
  co_await RunOn(service_.files, [&transfer] {
    transfer->file.reset();
    return 0;
  });
}

}  // namespace tvl::server
