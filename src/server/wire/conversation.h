#ifndef TVL_SERVER_WIRE_CONVERSATION_H
#define TVL_SERVER_WIRE_CONVERSATION_H

#include <asio/awaitable.hpp>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "server/wire/stream.h"

namespace tvl::server {

// The packets between the server and one client. Used on the thread of the stream's executor only.
class Conversation {
 public:
  // `idle_limit`: how long the client may take to send a complete packet.
  Conversation(std::shared_ptr<Stream> stream, Duration idle_limit)
      : stream_(std::move(stream)), idle_limit_(idle_limit) {}
  Conversation(const Conversation&) = delete;
  Conversation& operator=(const Conversation&) = delete;

  // Receives the payload of the next packet, which is valid until the next call. Returns false if there is
  // none.
  asio::awaitable<bool> Receive(std::string_view& payload);

  // Receives the next command: the one that interrupted an exchange, or a new one.
  asio::awaitable<bool> NextCommand(std::string& command);

  // Ends an exchange early: the client has sent this command in the middle of it.
  void Interrupt(std::string_view command) { pending_ = command; }
  [[nodiscard]] bool IsInterrupted() const { return pending_.has_value(); }

  // These return false if the client is gone. A forbidden file looks like a missing one to a client that
  // reads only the code.
  asio::awaitable<bool> Reply(std::string_view payload);
  asio::awaitable<bool> ReplyCode(int code, bool forbidden);

  // The number of chunks that may follow one that has not been answered; 0 without a window.
  void SetWindow(unsigned int chunks) { window_ = chunks; }
  [[nodiscard]] unsigned int Window() const { return window_; }

  // With a window, chunks of a get that the client has abandoned may be on their way to it; the repeated code
  // marks their end. Without one there is nothing to answer.
  asio::awaitable<bool> MarkAbandoned();

  // With a window, chunks of a put that has failed with `code` may still arrive.
  void ExpectRefusedChunks(int code);

  // Returns true for packets of an exchange that is over. They get an answer of their own and are no
  // requests.
  [[nodiscard]] bool IsLate(std::string_view packet) const;
  asio::awaitable<bool> AnswerLate(std::string_view packet);

  // The client has sent a new request, so that no late chunks can follow.
  void BeginRequest() { refused_put_.reset(); }

  // The server completes the current request and ends.
  void Finish() { finishing_ = true; }
  [[nodiscard]] bool IsFinishing() const { return finishing_; }

  // Returns true if there is nobody left to work for.
  [[nodiscard]] bool IsOver() const { return finishing_ || stream_->IsPeerGone(); }

  [[nodiscard]] asio::any_io_executor Executor() const { return stream_->Executor(); }
  asio::awaitable<bool> Send(std::string_view bytes) { return stream_->Send(bytes); }

 private:
  const std::shared_ptr<Stream> stream_;
  const Duration idle_limit_;
  std::optional<std::string> pending_;
  std::optional<int> refused_put_;
  unsigned int window_ = 0;
  bool finishing_ = false;
};

}  // namespace tvl::server

#endif
