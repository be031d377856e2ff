#ifndef TVL_TESTS_TCP_PEER_H
#define TVL_TESTS_TCP_PEER_H

#include <functional>
#include <string>
#include <string_view>
#include <thread>

// A listening socket on a loopback address and a free port.
class Listener {
 public:
  explicit Listener(const char* address = "127.0.0.1");
  ~Listener();
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  // False where the machine has no such address.
  [[nodiscard]] bool IsOpen() const { return descriptor_ >= 0; }
  [[nodiscard]] unsigned int Port() const { return port_; }
  [[nodiscard]] int Accept() const;

 private:
  int descriptor_ = -1;
  unsigned int port_ = 0;
};

// The server's end of a connection. Gives up on a client that is silent for 20 seconds.
class Peer {
 public:
  explicit Peer(int descriptor);
  ~Peer();
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  // What came, fewer bytes only at the end of the stream.
  std::string Read(std::size_t count) const;
  // The payload of a client's packet.
  std::string ReadPacket() const;
  // All up to the end of the stream.
  std::string ReadRest() const;
  [[nodiscard]] bool AtEnd() const { return ReadRest().empty(); }

  void Send(std::string_view bytes) const;
  void SendByteByByte(std::string_view bytes) const;
  // False where the system has no urgent bytes.
  [[nodiscard]] bool SendUrgent(char byte) const;
  // The client sees the end of the stream; what it sends can still be read.
  void EndSending() const;

  // Takes a client in, with these settings in the reply.
  void Welcome(int zip = 0, int policy = 1) const;

  void HangUp();
  void Reset();

 private:
  int descriptor_;
};

// The reply with which the bytes of a file begin in a get, and those with more of them. One without bytes
// ends the get, and tells the file's time.
std::string FirstChunk(std::string_view data, const std::string& time = "1000");
std::string NextChunk(std::string_view data, const std::string& time = "");

// A server for one client that plays its part in a thread of its own. Joined by the destructor or Join.
class Server {
 public:
  using Part = std::function<void(Peer&)>;

  explicit Server(Part part, const char* address = "127.0.0.1");
  ~Server() { Join(); }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  [[nodiscard]] unsigned int Port() const { return listener_.Port(); }
  void Join();

 private:
  Listener listener_;
  std::thread thread_;
};

#endif
