#ifndef TVL_SERVER_STREAM_H
#define TVL_SERVER_STREAM_H

#include <asio/awaitable.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <memory>
#include <string_view>

#include "server/packet_reader.h"
#include "server/proxy_header.h"
#include "server/status/traffic.h"

namespace tvl::server {

using Duration = std::chrono::milliseconds;
constexpr Duration kForEver = Duration::zero();

// The connection to a client: packets in, bytes out, each wait with a limit. Nothing waits in here but for
// the network, and a client that sends or takes nothing costs no time. On the thread of its executor only.
class Stream : public std::enable_shared_from_this<Stream> {
 public:
  // Where the bytes that travel are counted.
  struct Meters {
    std::shared_ptr<Traffic> own;
    Traffic& all;  // of all streams together
  };

  // `send_limit`: how long the client may take nothing of what is sent.
  Stream(asio::ip::tcp::socket socket, Duration send_limit, Meters meters);

  // The next packet's payload, or the handshake. It holds until the next call. False at the end of the
  // stream, for a broken packet, and if the packet has not come whole within `limit`.
  asio::awaitable<bool> Receive(std::string_view& payload, Duration limit);
  asio::awaitable<bool> ReceiveHandshake(std::string_view& packet,
                                         std::chrono::steady_clock::time_point until);

  // The header of a proxy. False without a good one.
  asio::awaitable<bool> ReceiveProxyHeader(ProxyHeader& header, std::chrono::steady_clock::time_point until);

  // Receives and drops until the end of the stream, the packet that ends a connection, or the given time.
  asio::awaitable<void> Drain(std::chrono::steady_clock::time_point until);

  // Lets time pass without reading; ends early when the stream is closed.
  asio::awaitable<void> Pause(std::chrono::steady_clock::time_point until);

  // False if the client is gone, or took nothing for too long.
  asio::awaitable<bool> Send(std::string_view bytes);

  // True if the client has ended its side, or the connection is lost.
  [[nodiscard]] bool IsPeerGone();

  // Ends every wait, now and later. Cut says that it was us.
  void Close();
  void Cut();

  // Gives back what long packets took.
  void Shrink() { reader_.Shrink(); }

  // Notes why the connection ends. False.
  bool End(const char* why);

  // Why the last Receive or Send gave false.
  [[nodiscard]] const char* Ending() const { return ending_; }

  // The client's end: that of the connection, unless a proxy has reported another.
  [[nodiscard]] asio::ip::tcp::endpoint Peer() const { return peer_; }
  [[nodiscard]] asio::any_io_executor Executor() { return socket_.get_executor(); }

 private:
  using Clock = std::chrono::steady_clock;
  using WaitType = asio::ip::tcp::socket::wait_type;

  static Clock::time_point After(Duration limit);
  using Next = PacketReader::Result (PacketReader::*)(std::string_view&);
  asio::awaitable<bool> ReceiveBy(Next next, std::string_view& packet, Clock::time_point until);
  asio::awaitable<bool> ReadMore(Clock::time_point until);
  asio::awaitable<bool> WaitFor(WaitType type, Clock::time_point until);
  asio::awaitable<void> LetOthers();
  asio::awaitable<void> GoToTheEnd();
  void ArmTimer(Clock::time_point until);

  asio::ip::tcp::socket socket_;
  asio::ip::tcp::endpoint peer_;
  const Duration send_limit_;
  const Meters meters_;
  asio::steady_timer timer_;
  PacketReader reader_;
  const char* ending_ = "";
  bool waiting_ = false;
  bool late_ = false;
  int turns_ = 0;
};

}  // namespace tvl::server

#endif
