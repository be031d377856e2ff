#ifndef TVL_SERVER_SESSIONS_PUT_EXCHANGE_H
#define TVL_SERVER_SESSIONS_PUT_EXCHANGE_H

#include <asio/awaitable.hpp>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "server/sessions/file_exchange.h"
#include "server/settings/access.h"

namespace tvl::server {

// Receives a file from the client: compares it with the existing one, receives its chunks, and replaces the
// existing file at the end mark.
class PutExchange : public FileExchange {
 public:
  static constexpr Right kNeededRight = Right::kWrite;

  PutExchange(Service& service, Conversation& client, ClientRecord& record, FileRequest asked);

  // Returns false to end the session.
  asio::awaitable<bool> Run();

 private:
  struct Transfer;

  asio::awaitable<int> Open();
  [[nodiscard]] std::optional<int> Find() const;
  [[nodiscard]] int Begin() const;
  [[nodiscard]] int BeginAfterCompare() const;
  [[nodiscard]] int Refuse(int code) const;
  asio::awaitable<bool> TakeChunks();
  asio::awaitable<int> TakeChunk(std::string_view data);
  asio::awaitable<int> TakePackedChunk(std::string_view data);
  asio::awaitable<int> End(std::int64_t& time);
  asio::awaitable<int> LastWrite();
  asio::awaitable<void> Drop();

  const std::shared_ptr<Transfer> transfer_;  // kept by the work that uses it on another thread
};

}  // namespace tvl::server

#endif
