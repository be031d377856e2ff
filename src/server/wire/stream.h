#ifndef TVL_SERVER_WIRE_STREAM_H
#define TVL_SERVER_WIRE_STREAM_H

#include <asio/awaitable.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <memory>
#include <string_view>

#include "server/metrics/traffic.h"
#include "server/wire/packet_reader.h"
#include "server/wire/proxy_header.h"

namespace tvl::server {

using Duration = std::chrono::milliseconds;
constexpr Duration kForEver = Duration::zero();

// The connection to a client: receives packets and sends bytes, with a limit for each wait. It only waits for
// the network, and an idle client needs no processor time. Used on the thread of its executor only.
class Stream : public std::enable_shared_from_this<Stream> {
 public:
  // Where the bytes that travel are counted.
  struct Meters {
    std::shared_ptr<Traffic> own;
    Traffic& all;  // of all streams together
  };

  struct Limits {
    Duration send;  // how long the client may take nothing of what is sent
    Duration peer;  // until a peer that has disappeared is detected, or `send` if that is longer
  };

  Stream(asio::ip::tcp::socket socket, Limits limits, Meters meters);

  // Receives the payload of the next packet, or the handshake, which is valid until the next call. Returns
  // false at the end of the stream, for a broken packet, and if the packet is not complete within `limit`.
  asio::awaitable<bool> Receive(std::string_view& payload, Duration limit);
  asio::awaitable<bool> ReceiveHandshake(std::string_view& packet,
                                         std::chrono::steady_clock::time_point until);

  // Receives the header of a proxy. Returns false without a valid one.
  asio::awaitable<bool> ReceiveProxyHeader(ProxyHeader& header, std::chrono::steady_clock::time_point until);

  // Receives and discards data until the end of the stream, the packet that ends a connection, or `until`.
  asio::awaitable<void> Drain(std::chrono::steady_clock::time_point until);

  // Waits without reading. Ends early if the stream is closed.
  asio::awaitable<void> Pause(std::chrono::steady_clock::time_point until);

  // Returns false if the client is gone, or has not received anything for too long.
  asio::awaitable<bool> Send(std::string_view bytes);

  // Returns true if the client has shut down its side, or the connection is lost.
  [[nodiscard]] bool IsPeerGone();

  // Ends every wait, now and later. Cut records that this side ended the connection.
  void Close();
  void Cut();

  // Frees the memory that long packets needed.
  void Shrink() { reader_.Shrink(); }

  // Records why the connection ends. Returns false.
  bool End(const char* why);

  // Returns why the last Receive or Send returned false.
  [[nodiscard]] const char* Ending() const { return ending_; }

  // Returns the address of the client: that of the connection, unless a proxy has reported another.
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
