#ifndef TVL_SERVER_SESSIONS_FILE_EXCHANGE_H
#define TVL_SERVER_SESSIONS_FILE_EXCHANGE_H

#include <asio/awaitable.hpp>
#include <cstdint>
#include <optional>

#include "server/files/file_request.h"
#include "server/files/get_file.h"
#include "server/log/log.h"
#include "server/metrics/shown_transfer.h"
#include "server/sessions/service.h"
#include "server/wire/conversation.h"

namespace tvl::server {

// Shared by get and put, from the client's command to its last packet.
class FileExchange {
 public:
  FileExchange(const FileExchange&) = delete;
  FileExchange& operator=(const FileExchange&) = delete;

  // Describes the exchange after its end.
  [[nodiscard]] Event ToEvent() const;

 protected:
  using Direction = ClientRecord::Direction;

  FileExchange(Service& service, Conversation& client, ClientRecord& record, Direction direction,
               FileRequest asked);
  ~FileExchange() = default;

  // Returns the code if it does not depend on the file.
  [[nodiscard]] std::optional<int> DecideWithoutFile() const;

  // Compares a file with the client's copy. Returns TVL_ERR_IN_CACHE if they are the same, TVL_OK if they
  // differ, nothing if that depends on the signature of the file.
  [[nodiscard]] std::optional<int> Compare(const GetFile& file) const;

  // Returns true if the client's copy has the signature of the file. Throws std::runtime_error if the client
  // or the server ends meanwhile.
  asio::awaitable<bool> HasSignature(const GetFile& file);

  [[nodiscard]] bool IsPacked() const { return service_.config.zipOnTransfert != 0; }
  [[nodiscard]] TransferResult Result() const;

  Service& service_;
  Conversation& client_;
  const FileRequest asked_;
  int code_ = 0;
  std::uint64_t bytes_ = 0;   // of contents, as they were sent
  bool landed_ = false;       // the receiver has all of it, as far as the server knows
  bool interrupted_ = false;  // by the client

 private:
  const Stopwatch watch_;
  const Direction direction_;
  const ShownTransfer shown_;
};

}  // namespace tvl::server

#endif
