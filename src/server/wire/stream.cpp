#include "server/wire/stream.h"

#include <netinet/tcp.h>
#include <poll.h>

#include <algorithm>
#include <asio/buffer.hpp>
#include <asio/post.hpp>
#include <asio/redirect_error.hpp>
#include <asio/use_awaitable.hpp>

#include "tcp/protocol.h"

namespace tvl::server {
namespace {

// An idle peer is probed after half of the time that it may be silent.
constexpr int kProbes = 6;
constexpr Duration kLongestSilence = std::chrono::hours(1);
constexpr Duration kLongestUnacknowledged = std::chrono::hours(24);

// Packets that a client sent ahead are processed without waiting; after this many, other clients get their
// turn.
constexpr int kTurnsInARow = 32;

template <int Name>
using TcpOption = asio::detail::socket_option::integer<IPPROTO_TCP, Name>;

// Makes the system end a connection whose peer has disappeared silently. The limit for unacknowledged data
// also applies to probes, and while a client is alive but reads nothing.
void DetectLostPeer(asio::ip::tcp::socket& socket, Stream::Limits limits) {
  asio::error_code ignored;
  const auto set = [&](auto option) { socket.set_option(option, ignored); };
  const auto silence = static_cast<int>(
      std::chrono::ceil<std::chrono::seconds>(std::min(limits.peer, kLongestSilence) / 2).count());
  set(asio::socket_base::keep_alive(true));
  set(TcpOption<TCP_KEEPIDLE>(silence));
  set(TcpOption<TCP_KEEPINTVL>(std::max(1, silence / kProbes)));
  set(TcpOption<TCP_KEEPCNT>(kProbes));
  set(TcpOption<TCP_USER_TIMEOUT>(static_cast<int>(
      std::min<Duration>(std::max(limits.peer, limits.send), kLongestUnacknowledged).count())));
}

}  // namespace

Stream::Stream(asio::ip::tcp::socket socket, Limits limits, Meters meters)
    : socket_(std::move(socket)),
      send_limit_(limits.send),
      meters_(std::move(meters)),
      timer_(socket_.get_executor()) {
  asio::error_code ignored;
  peer_ = socket_.remote_endpoint(ignored);
  socket_.non_blocking(true, ignored);
  socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
  DetectLostPeer(socket_, limits);
}

Stream::Clock::time_point Stream::After(Duration limit) {
  return limit == kForEver ? Clock::time_point::max() : Clock::now() + limit;
}

bool Stream::IsPeerGone() {
  if (!socket_.is_open()) return true;
  pollfd entry = {socket_.native_handle(), POLLRDHUP, 0};
  return poll(&entry, 1, 0) > 0;
}

bool Stream::End(const char* why) {
  ending_ = why;
  return false;
}

void Stream::Cut() {
  End("cut off");
  Close();
}

void Stream::Close() {
  asio::error_code ignored;
  socket_.close(ignored);
  timer_.expires_at(Clock::time_point::max());
}

asio::awaitable<bool> Stream::ReceiveBy(Next next, std::string_view& packet, Clock::time_point until) {
  PacketReader::Result result = (reader_.*next)(packet);
  while (result == PacketReader::Result::kNeedsMore) {
    const bool came = co_await ReadMore(until);
    if (!came) co_return false;
    result = (reader_.*next)(packet);
  }
  co_return result == PacketReader::Result::kPacket || End("broken packet");
}

asio::awaitable<bool> Stream::Receive(std::string_view& payload, Duration limit) {
  co_await LetOthers();
  const bool came = co_await ReceiveBy(&PacketReader::Next, payload, After(limit));
  co_return came;
}

asio::awaitable<bool> Stream::ReceiveHandshake(std::string_view& packet, Clock::time_point until) {
  const bool came = co_await ReceiveBy(&PacketReader::NextHandshake, packet, until);
  co_return came;
}

asio::awaitable<bool> Stream::ReceiveProxyHeader(ProxyHeader& header, Clock::time_point until) {
  std::string_view bytes;
  const bool came = co_await ReceiveBy(&PacketReader::NextProxyHeader, bytes, until);
  if (!came) co_return false;
  std::optional<ProxyHeader> parsed = ParseProxyHeader(bytes);
  if (!parsed) co_return End("broken proxy header");
  if (parsed->client) peer_ = *parsed->client;
  header = std::move(*parsed);
  co_return true;
}

asio::awaitable<void> Stream::Drain(Clock::time_point until) {
  std::string_view payload;
  while (Clock::now() < until) {
    const PacketReader::Result result = reader_.Next(payload);
    if (result == PacketReader::Result::kBroken) co_return;
    if (result == PacketReader::Result::kPacket && payload.starts_with(protocol::kEnd)) co_return;
    if (result == PacketReader::Result::kPacket) continue;
    // A flooding client yields to all others.
    co_await GoToTheEnd();
    const bool came = co_await ReadMore(until);
    if (!came) co_return;
  }
}

asio::awaitable<void> Stream::Pause(Clock::time_point until) {
  if (!socket_.is_open()) co_return;
  timer_.expires_at(until);
  asio::error_code ignored;
  co_await timer_.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
}

asio::awaitable<bool> Stream::ReadMore(Clock::time_point until) {
  for (;;) {
    if (!socket_.is_open()) co_return false;
    const std::span<char> capacity = reader_.FreeSpace();
    asio::error_code problem;
    const std::size_t count = socket_.read_some(asio::buffer(capacity.data(), capacity.size()), problem);
    if (!problem) {
      reader_.Arrived(count);
      meters_.own->received.Add(count);
      meters_.all.received.Add(count);
      co_return true;
    }
    if (problem == asio::error::eof) co_return End("end of stream");
    if (problem != asio::error::would_block && problem != asio::error::interrupted)
      co_return End("connection lost");
    reader_.ShrinkForWait();
    const bool ready = co_await WaitFor(asio::ip::tcp::socket::wait_read, until);
    if (!ready) co_return false;
  }
}

asio::awaitable<bool> Stream::Send(std::string_view bytes) {
  while (!bytes.empty()) {
    if (!socket_.is_open()) co_return false;
    asio::error_code problem;
    const std::size_t count = socket_.write_some(asio::buffer(bytes.data(), bytes.size()), problem);
    bytes.remove_prefix(count);
    meters_.own->sent.Add(count);
    meters_.all.sent.Add(count);
    if (!problem || problem == asio::error::interrupted) continue;
    if (problem != asio::error::would_block) co_return End("connection lost");
    const bool ready = co_await WaitFor(asio::ip::tcp::socket::wait_write, After(send_limit_));
    if (!ready) co_return false;
  }
  co_return true;
}

// The timer is set only if a wait has begun, so the fast path needs none.
asio::awaitable<bool> Stream::WaitFor(WaitType type, Clock::time_point until) {
  late_ = false;
  waiting_ = true;
  if (until != Clock::time_point::max()) ArmTimer(until);
  asio::error_code problem;
  co_await socket_.async_wait(type, asio::redirect_error(asio::use_awaitable, problem));
  waiting_ = false;
  turns_ = 0;
  if (until != Clock::time_point::max()) timer_.expires_at(Clock::time_point::max());
  if (!socket_.is_open()) co_return false;
  if (late_) co_return End("out of time");
  co_return !problem || End("connection lost");
}

// A handler that is already queued when the timer is set again sees a later expiry. So at the end of a wait
// the timer is set to a time that never comes, instead of being canceled.
void Stream::ArmTimer(Clock::time_point until) {
  timer_.expires_at(until);
  timer_.async_wait([weak = weak_from_this()](const asio::error_code& problem) {
    const std::shared_ptr<Stream> self = weak.lock();
    if (problem || !self || !self->waiting_ || Clock::now() < self->timer_.expiry()) return;
    self->late_ = true;
    asio::error_code ignored;
    self->socket_.cancel(ignored);
  });
}

asio::awaitable<void> Stream::LetOthers() {
  if (++turns_ < kTurnsInARow) co_return;
  co_await GoToTheEnd();
}

// Requeues the coroutine after all others that are ready.
asio::awaitable<void> Stream::GoToTheEnd() {
  turns_ = 0;
  co_await asio::post(socket_.get_executor(), asio::use_awaitable);
}

}  // namespace tvl::server
