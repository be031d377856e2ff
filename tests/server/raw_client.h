#ifndef TVL_TESTS_SERVER_RAW_CLIENT_H
#define TVL_TESTS_SERVER_RAW_CLIENT_H

#include <string>
#include <string_view>

#include "host/descriptor.h"

// How the server's reply to a handshake begins, and the reply to a client that it accepts.
inline const std::string kServer = "TVL/" TVL_VERSION;
inline const std::string kAccepted = kServer + "\t0\t";

// The identity that a client claims.
struct ClientNames {
  std::string computer = "pc1";
  std::string user = "ann";
  std::string tag = {};
  std::string client_class = "mgrx";
  std::string window = {};  // what announces one
};

// The client's side of a connection, byte by byte. A wait that takes half a minute fails with an exception.
class RawClient {
 public:
  // Connects from an address of this computer and sends nothing.
  explicit RawClient(unsigned short port, const char* from = "127.0.0.1");

  // Returns the bytes of a handshake, padded to the minimum size.
  static std::string HandshakeBytes(const ClientNames& names);
  static std::string PacketBytes(std::string_view payload);

  void Send(std::string_view bytes) const;  // throws once the server has ended the connection
  void SendPacket(std::string_view payload) const { Send(PacketBytes(payload)); }

  // Receives exactly so many bytes, fewer at the end of the stream.
  std::string ReceiveBytes(std::size_t count) const;

  // Receives the payload of the next packet.
  std::string Receive() const;

  // Sends a packet and returns the answer.
  std::string Ask(std::string_view payload) const {
    SendPacket(payload);
    return Receive();
  }

  // Requests a lock. Returns the state and the computer of the owner, separated by a tab.
  std::string Lock(const std::string& object) const;

  // Returns true if the server has closed the connection, cleanly or not.
  [[nodiscard]] bool IsEnded() const { return ReceiveBytes(1).empty(); }

  // Ends the session, and waits until the server has released everything.
  void Leave() const;

  // A complete get or put: the file, or the code that was received instead.
  struct Fetched {
    int code = 0;
    std::string bytes;
  };
  Fetched Get(const std::string& name) const { return Fetch(Ask("G" + name + "\t@")); }
  Fetched Fetch(std::string answer) const;  // a get that has its first answer
  int Put(const std::string& name, std::string_view bytes) const;

  // Shuts down sending, so that the server sees the end of the stream.
  void CloseWriting() const;

  // Ends the connection with a reset.
  void Reset();

  // Requests much more of a file than this side reads, so that the server is blocked in sending.
  void AskAheadFor(const std::string& name) const;

 private:
  tvl::Descriptor socket_;
};

#endif
