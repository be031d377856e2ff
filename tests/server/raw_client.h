#ifndef TVL_TESTS_SERVER_RAW_CLIENT_H
#define TVL_TESTS_SERVER_RAW_CLIENT_H

#include <string>
#include <string_view>

#include "server/descriptor.h"

// Who a client says it is.
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
  // Connects, from another address of this computer if one is given, and says nothing.
  explicit RawClient(unsigned short port, const char* from = "127.0.0.1");

  // Bytes of a handshake, filled up to the least size.
  static std::string HandshakeBytes(const ClientNames& names);
  static std::string PacketBytes(std::string_view payload);

  void Send(std::string_view bytes) const;  // throws once the server has ended the connection
  void SendPacket(std::string_view payload) const { Send(PacketBytes(payload)); }

  // Exactly so many bytes, fewer at the end of the stream.
  std::string ReceiveBytes(std::size_t count) const;

  // Payload of the next packet.
  std::string Receive() const;

  // A packet and its answer.
  std::string Ask(std::string_view payload) const {
    SendPacket(payload);
    return Receive();
  }

  // Asks for a lock: its state and the computer that has it, with a tab between.
  std::string Lock(const std::string& object) const;

  // The server has ended the connection, in order or not.
  [[nodiscard]] bool IsEnded() const { return ReceiveBytes(1).empty(); }

  // Says that it goes, and waits until the server has let go of all that it had.
  void Leave() const;

  // A whole get or put: the file, or the code that came instead.
  struct Fetched {
    int code = 0;
    std::string bytes;
  };
  Fetched Get(const std::string& name) const { return Fetch(Ask("G" + name + "\t@")); }
  Fetched Fetch(std::string answer) const;  // a get that has its first answer
  int Put(const std::string& name, std::string_view bytes) const;

  // Ends everything that goes out, so that the server sees the end of the stream.
  void CloseWriting() const;

  // Ends the connection with a reset.
  void Reset();

  // Asks for far more of a file than this end takes, so that the server can't send on.
  void AskAheadFor(const std::string& name) const;

 private:
  tvl::server::Descriptor socket_;
};

#endif
