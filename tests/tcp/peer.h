#ifndef TVL_TESTS_TCP_PEER_H
#define TVL_TESTS_TCP_PEER_H

#include <functional>
#include <future>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

// The server's end of a connection. Gives up on a client that is silent for 20 seconds.
class Peer {
 public:
  explicit Peer(int descriptor) : descriptor_(descriptor) {}
  ~Peer() { HangUp(); }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  // Reads bytes; fewer only at the end of the stream.
  std::string Read(std::size_t count) const;
  // Reads the payload of a packet from the client.
  std::string ReadPacket() const;
  // Returns true if the client has ended the stream without more data.
  [[nodiscard]] bool AtEnd() const;

  void Send(std::string_view bytes, int flags = 0) const;
  // Ends the stream for the client. Data from the client can still be read.
  void EndSending() const;

  // Takes a client of short names in, with these settings in the reply, and a window if it is not 0.
  void Welcome(int zip = 0, int policy = 1, int window = 0) const;

  void HangUp();
  void Reset();

 private:
  int descriptor_;
};

// Returns incompressible bytes, the same ones each time.
std::string Noise(std::size_t size);

// Return the reply with the first bytes of a file in a get, and those with more bytes. A reply without bytes
// ends the get and contains the time of the file.
std::string FirstChunk(const std::string& data);
std::string NextChunk(const std::string& data, const std::string& time = "");

// A server that plays its part for one client in a thread of its own, on a loopback address and a free port,
// or one part after the other for clients that come one after the other. Parts for which no client has come
// by then are left out by the destructor and Join, but for the first.
class Server {
 public:
  using Part = std::function<void(Peer&)>;

  explicit Server(Part part, const char* address = "127.0.0.1")
      : Server(std::vector<Part>{std::move(part)}, address) {}
  explicit Server(std::vector<Part> parts, const char* address = "127.0.0.1");
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Returns 0 if the machine has no such address.
  [[nodiscard]] unsigned int Port() const { return port_; }
  void Join();

 private:
  void Play(const std::vector<Part>& parts);

  int listener_ = -1;
  unsigned int port_ = 0;
  std::promise<void> met_;  // the first client
  std::thread thread_;
};

// Welcomes a client, answers its requests for the lock "A", and expects nothing but the end of the
// connection.
Server::Part AnswersLocks(
    const std::vector<std::string>& replies, const std::function<void()>& before_each = [] {});

#endif
