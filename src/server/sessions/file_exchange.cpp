#include "server/sessions/file_exchange.h"

#include <memory>
#include <stdexcept>
#include <utility>

#include <tvlclient/errors.h>

#include "server/sessions/run_on.h"
#include "tcp/protocol.h"
#include "transfer/compare.h"

namespace tvl::server {

FileExchange::FileExchange(Service& service, Conversation& client, ClientRecord& record, Direction direction,
                           FileRequest asked)
    : service_(service),
      client_(client),
      asked_(std::move(asked)),
      direction_(direction),
      shown_(record, direction, asked_.name) {}

// With the policy that regards any two files as equal, they are not examined.
std::optional<int> FileExchange::DecideWithoutFile() const {
  if (!asked_.clean || asked_.forbidden) return TVL_ERR_SERVER_FILE;
  if (service_.config.fileCompare == kCompareDumb && asked_.stamp != protocol::kForcedStamp)
    return TVL_ERR_IN_CACHE;
  return std::nullopt;
}

std::optional<int> FileExchange::Compare(const GetFile& file) const {
  const Verdict verdict = CompareStamp(service_.config.fileCompare, file.Status(), asked_.stamp);
  if (verdict == Verdict::kByContents) return std::nullopt;
  return verdict == Verdict::kSame ? TVL_ERR_IN_CACHE : TVL_OK;
}

// Hashes piece by piece, so that large files do not delay clients with small ones, and the work ends with its
// client. Nothing is read from the client meanwhile.
asio::awaitable<bool> FileExchange::HasSignature(const GetFile& file) {
  const std::shared_ptr<HashJob> job = service_.hashes.Join(file.Status());
  const int number = file.Number();
  bool done = co_await RunOn(service_.first_pieces, [&job, number] { return job->Step(number); });
  while (!done) {
    if (client_.IsOver()) throw std::runtime_error("ended while a file was hashed");
    done = co_await RunOn(service_.hashing, [&job, number] { return job->Step(number); });
  }
  co_return StampHasSignature(asked_.stamp, job->Signature());
}

TransferResult FileExchange::Result() const {
  if (asked_.forbidden) return TransferResult::kForbidden;
  if (code_ == TVL_ERR_IN_CACHE) return TransferResult::kSame;
  if (code_ != TVL_OK) return TransferResult::kFailed;
  return landed_ ? TransferResult::kDone : TransferResult::kBrokenOff;
}

Event FileExchange::ToEvent() const {
  Event event = {.what = direction_ == Direction::kGet ? "get" : "put",
                 .name = asked_.name,
                 .bytes = bytes_,
                 .duration = watch_.Elapsed()};
  if (code_ == TVL_ERR_SERVER_FILE && !service_.root.IsInPlace()) {
    event.level = Level::kError;
    event.note = "the document root was moved or replaced";
  }
  if (code_ != TVL_OK || landed_) event.code = code_;
  if (interrupted_) event.note = "interrupted";
  return event;
}

}  // namespace tvl::server
