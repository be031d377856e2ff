#include "server/wire/conversation.h"

#include "tcp/protocol.h"

namespace tvl::server {

asio::awaitable<bool> Conversation::Receive(std::string_view& payload) {
  return stream_->Receive(payload, idle_limit_);
}

asio::awaitable<bool> Conversation::NextCommand(std::string& command) {
  if (pending_) {
    command = std::move(*pending_);
    pending_.reset();
    co_return true;
  }
  command = std::string();  // frees the memory of a long command before a long wait
  stream_->Shrink();
  std::string_view payload;
  const bool came = co_await Receive(payload);
  if (!came) co_return false;
  command = payload;
  co_return true;
}

asio::awaitable<bool> Conversation::Reply(std::string_view payload) {
  std::string packet(protocol::kHeadSize, '\0');
  protocol::WriteLength(packet.data() + 1, payload.size());
  packet += payload;
  const bool sent = co_await stream_->Send(packet);
  co_return sent;
}

asio::awaitable<bool> Conversation::ReplyCode(int code, bool forbidden) {
  std::string text = std::to_string(code);
  if (forbidden) text += std::string(protocol::kFieldSeparator) + "right";
  const bool sent = co_await Reply(text);
  co_return sent;
}

asio::awaitable<bool> Conversation::MarkAbandoned() {
  if (window_ == 0) co_return true;
  const bool sent = co_await Reply(protocol::kAbandon);
  co_return sent;
}

void Conversation::ExpectRefusedChunks(int code) {
  if (window_ > 0) refused_put_ = code;
}

bool Conversation::IsLate(std::string_view packet) const {
  return packet == protocol::kAbandon || (refused_put_ && packet.starts_with(protocol::kData));
}

asio::awaitable<bool> Conversation::AnswerLate(std::string_view packet) {
  if (packet == protocol::kAbandon) {  // of a get of which the server had sent everything
    const bool marked = co_await MarkAbandoned();
    co_return marked;
  }
  const bool sent = co_await ReplyCode(*refused_put_, false);
  co_return sent;
}

}  // namespace tvl::server
