#ifndef TVL_SERVER_SESSIONS_GET_EXCHANGE_H
#define TVL_SERVER_SESSIONS_GET_EXCHANGE_H

#include <asio/awaitable.hpp>
#include <memory>
#include <optional>

#include "server/files/chunk.h"
#include "server/sessions/file_exchange.h"
#include "server/settings/access.h"

namespace tvl::server {

// Sends a file to the client, in the order of the steps: open and compare it, send its chunks while their
// answers arrive, send the end mark.
class GetExchange : public FileExchange {
 public:
  static constexpr Right kNeededRight = Right::kRead;

  GetExchange(Service& service, Conversation& client, ClientRecord& record, FileRequest asked);

  // Returns false to end the session, including if the file cannot be read any more: a packet of a get cannot
  // contain a code, and with an end mark the client would take the incomplete file as complete.
  asio::awaitable<bool> Run();

 private:
  struct Transfer;

  asio::awaitable<int> Open();
  [[nodiscard]] bool OpenAtOnce() const;
  [[nodiscard]] std::optional<int> Find() const;
  [[nodiscard]] int Begin() const;
  asio::awaitable<bool> SendChunks();
  asio::awaitable<bool> SendEndMark();
  asio::awaitable<bool> FillRest(Chunk& chunk);
  enum class Answered { kAll, kOver, kGone };
  asio::awaitable<Answered> TakeAnswers(unsigned int left);

  const std::shared_ptr<Transfer> transfer_;  // kept by the work that uses it on another thread
  unsigned int unanswered_ = 0;               // chunks that have been sent
};

}  // namespace tvl::server

#endif
