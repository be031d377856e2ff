#ifndef TVL_BENCH_SERVER_PEERS_H
#define TVL_BENCH_SERVER_PEERS_H

#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace bench {

// A child process that serves until it is killed.
class Child {
 public:
  explicit Child(pid_t pid = -1) : pid_(pid) {}
  ~Child();
  Child(Child&& other) noexcept;
  Child& operator=(Child&& other) noexcept;
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  [[nodiscard]] pid_t Pid() const { return pid_; }

 private:
  pid_t pid_;
};

// A store with a lock table, and a tvlserver that serves it.
struct Served {
  Served(const std::string& program, const std::filesystem::path& folder,
         const std::vector<std::string>& options = {});

  std::filesystem::path root;
  std::string config;
  unsigned short port = 0;
  Child server;
};

// A relay to a port that delays all data in both directions. For one connection.
struct Relay {
  Relay(unsigned short target, int milliseconds);
  unsigned short port = 0;
  Child process;
};

// Return the seconds that network and disk alone need for the packets of a get or a put: each is answered
// before the next one and written to `target`, which is synced at the end of a put.
double PingPongGet(std::size_t total, const std::filesystem::path& target);
double PingPongPut(const std::filesystem::path& source, const std::filesystem::path& target);

// The same for small files in `folder`: two packets in each direction and a new file for each.
double PingPongFiles(int files, const std::filesystem::path& folder);

// The same for packets with the sizes of a complete exchange through a relay.
double PingPongRelayed(std::size_t packets, std::size_t there, std::size_t back, int milliseconds);

// Connects to a port of this computer.
int ConnectTo(unsigned short port);
void SendAll(int socket, const char* bytes, std::size_t count);
void ReceiveAll(int socket, char* bytes, std::size_t count);

// A packet of a client, and the payload of one from a server.
void SendPacket(int server, const std::string& payload);
std::string ReceivePacket(int server);

// The handshake of a client on a computer of that name.
void SendHandshake(int server, const std::string& computer);

// Returns true for the answer to a handshake that was accepted.
bool IsWelcome(const std::string& reply);

// Connects as such a client and waits until it is accepted.
int Enter(unsigned short port, const std::string& computer);

// Bytes of a file in a packet of a get.
constexpr std::size_t kGetChunk = 40895;

}  // namespace bench

#endif
