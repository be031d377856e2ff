#include "server_peers.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <fstream>
#include <initializer_list>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "store/lock_row.h"
#include "table/ctree_file.h"
#include "tcp/protocol.h"

extern char** environ;

namespace bench {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kGetPacket = tvl::protocol::kHeadSize + tvl::protocol::kChunkHeadSize + kGetChunk;
constexpr std::size_t kPutPacket = tvl::protocol::kDataOffset + tvl::protocol::kPutChunk;
constexpr std::size_t kSmallPacket = 5;
constexpr std::size_t kSmallFile = 4096;
constexpr std::chrono::milliseconds kStartPoll(5);

void NoDelay(int socket) {
  const int yes = 1;
  setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
}

int ListenAnywhere(unsigned short& port) {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* any = reinterpret_cast<sockaddr*>(&address);
  if (bind(listener, any, size) != 0 || listen(listener, 8) != 0 || getsockname(listener, any, &size) != 0) {
    throw std::runtime_error("cannot listen");
  }
  port = ntohs(address.sin_port);
  return listener;
}

void WriteAll(int file, const char* bytes, std::size_t count) {
  if (write(file, bytes, count) != static_cast<ssize_t>(count)) throw std::runtime_error("cannot write");
}

// Serves one connection in a child process with `serve` until the other side ends it.
template <typename Serve>
Child ServeOnce(unsigned short& port, Serve serve) {
  const int listener = ListenAnywhere(port);
  const pid_t pid = fork();
  if (pid == 0) {
    const int client = accept(listener, nullptr, nullptr);
    NoDelay(client);
    try {
      serve(client);
    } catch (const std::exception&) {
      _exit(0);
    }
    _exit(0);
  }
  close(listener);
  return Child(pid);
}

double SecondsSince(Clock::time_point began) {
  return std::chrono::duration<double>(Clock::now() - began).count();
}

// One direction of a relay: received data, each with the time at which it may be sent.
class DelayLine {
 public:
  DelayLine(int from, int to, std::chrono::milliseconds delay) : from_(from), to_(to), delay_(delay) {}

  void Read() {
    std::vector<char> bytes(65536);
    for (ssize_t count = 1; count > 0;) {
      count = recv(from_, bytes.data(), bytes.size(), 0);
      const std::size_t size = count > 0 ? static_cast<std::size_t>(count) : 0;
      const std::lock_guard<std::mutex> guard(mutex_);
      waiting_.push_back({Clock::now() + delay_, std::vector<char>(bytes.data(), bytes.data() + size)});
      come_.notify_one();
    }
  }

  void Write() {
    for (;;) {
      std::unique_lock<std::mutex> lock(mutex_);
      come_.wait(lock, [&] { return !waiting_.empty(); });
      const auto [moment, bytes] = std::move(waiting_.front());
      waiting_.pop_front();
      lock.unlock();
      std::this_thread::sleep_until(moment);
      if (bytes.empty()) break;
      SendAll(to_, bytes.data(), bytes.size());
    }
    shutdown(to_, SHUT_WR);
  }

 private:
  const int from_;
  const int to_;
  const std::chrono::milliseconds delay_;
  std::mutex mutex_;
  std::condition_variable come_;
  std::deque<std::pair<Clock::time_point, std::vector<char>>> waiting_;
};

void RelayBetween(int client, int server, std::chrono::milliseconds delay) {
  DelayLine there(client, server, delay);
  DelayLine back(server, client, delay);
  std::thread threads[] = {std::thread([&] { there.Read(); }), std::thread([&] { there.Write(); }),
                           std::thread([&] { back.Read(); }), std::thread([&] { back.Write(); })};
  for (std::thread& thread : threads) thread.join();
}

// The sizes of a packet to the server and of its answer.
struct Turn {
  std::size_t there;
  std::size_t back;
};

// Answers packets according to the turns, again and again.
void Answer(int client, std::initializer_list<Turn> turns) {
  std::vector<char> packet(kGetPacket);
  for (;;) {
    for (const Turn& turn : turns) {
      ReceiveAll(client, packet.data(), turn.there);
      SendAll(client, packet.data(), turn.back);
    }
  }
}

void Take(int server, const Turn& turn, std::vector<char>& packet) {
  SendAll(server, packet.data(), turn.there);
  ReceiveAll(server, packet.data(), turn.back);
}

pid_t StartServer(const std::vector<std::string>& words) {
  std::vector<char*> arguments;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t pid = -1;
  const int problem = posix_spawn(&pid, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (problem != 0) throw std::runtime_error("cannot start " + words[0]);
  return pid;
}

}  // namespace

Child::~Child() {
  if (pid_ <= 0) return;
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

Child::Child(Child&& other) noexcept : pid_(std::exchange(other.pid_, -1)) {}

Child& Child::operator=(Child&& other) noexcept {
  std::swap(pid_, other.pid_);
  return *this;
}

int ConnectTo(unsigned short port) {
  const int client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(client, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    throw std::runtime_error("cannot connect");
  }
  NoDelay(client);
  return client;
}

void SendAll(int socket, const char* bytes, std::size_t count) {
  while (count > 0) {
    const ssize_t sent = send(socket, bytes, count, MSG_NOSIGNAL);
    if (sent <= 0) throw std::runtime_error("connection lost");
    bytes += sent;
    count -= static_cast<std::size_t>(sent);
  }
}

void ReceiveAll(int socket, char* bytes, std::size_t count) {
  if (recv(socket, bytes, count, MSG_WAITALL) != static_cast<ssize_t>(count)) {
    throw std::runtime_error("connection lost");
  }
}

void SendPacket(int server, const std::string& payload) {
  std::string packet = std::string(tvl::protocol::kHeadSize, '\0') + payload;
  tvl::protocol::WriteLength(packet.data() + 1, packet.size());
  SendAll(server, packet.data(), packet.size());
}

std::string ReceivePacket(int server) {
  char head[tvl::protocol::kHeadSize];
  ReceiveAll(server, head, sizeof head);
  std::string payload(tvl::protocol::ReadLength(head + 1), '\0');
  ReceiveAll(server, payload.data(), payload.size());
  return payload;
}

void SendHandshake(int server, const std::string& computer) {
  const std::string names = "bnch" + std::string(1, '\0') + computer + std::string(3, '\0');
  std::string hello = std::string("#\0\0\0*00", 7) + names;
  tvl::protocol::WriteLength(hello.data() + 1, hello.size());
  hello.resize(std::max(hello.size(), tvl::protocol::kLeastHandshake));
  SendAll(server, hello.data(), hello.size());
}

bool IsWelcome(const std::string& reply) {
  return reply.substr(std::min(reply.find('\t'), reply.size())).starts_with("\t0\t");
}

int Enter(unsigned short port, const std::string& computer) {
  const int server = ConnectTo(port);
  SendHandshake(server, computer);
  if (!IsWelcome(ReceivePacket(server))) throw std::runtime_error("no welcome");
  return server;
}

Served::Served(const std::string& program, const fs::path& folder, const std::vector<std::string>& options)
    : root(folder), config((folder / "tvl.ini").string()) {
  fs::create_directories(root / "tmp/locks");
  std::ofstream(config) << "[TavolisFileSystem]\nDocumentRoot=" << root.string() << "\nZipOnTransfert=0\n";
  const std::string table = (root / "tmp/locks/dtlocks.dat").string();
  if (CCtreeFile::CreateFiles(table.c_str(), kLockRecordLength, kLockKeyLength, 0) != 1) {
    throw std::runtime_error("no lock table: vbctree.so must be next to this program");
  }
  const std::string port_file = (root / "port").string();
  std::vector<std::string> command = {program,       "--config", config,          "--listen", "127.0.0.1:0",
                                      "--port-file", port_file,  "--max-clients", "9999"};
  command.insert(command.end(), options.begin(), options.end());
  server = Child(StartServer(command));
  while (port == 0) {
    if (waitpid(server.Pid(), nullptr, WNOHANG) != 0) throw std::runtime_error("the server ended");
    std::this_thread::sleep_for(kStartPoll);
    std::ifstream(port_file) >> port;
  }
}

Relay::Relay(unsigned short target, int milliseconds)
    : process(ServeOnce(port, [=](int client) {
        RelayBetween(client, ConnectTo(target), std::chrono::milliseconds(milliseconds));
      })) {}

double PingPongGet(std::size_t total, const fs::path& target) {
  unsigned short port = 0;
  const Child peer = ServeOnce(port, [](int client) { Answer(client, {{kSmallPacket, kGetPacket}}); });
  const int server = ConnectTo(port);
  const int file = open(target.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  std::vector<char> packet(kGetPacket);
  const auto began = Clock::now();
  for (std::size_t got = 0; got < total; got += kGetChunk) {
    Take(server, {kSmallPacket, kGetPacket}, packet);
    WriteAll(file, packet.data(), kGetChunk);
  }
  const double seconds = SecondsSince(began);
  close(file);
  close(server);
  return seconds;
}

double PingPongPut(const fs::path& source, const fs::path& target) {
  unsigned short port = 0;
  const Child peer = ServeOnce(port, [&](int client) {
    const int file = open(target.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    std::vector<char> packet(kPutPacket);
    const char answer[kSmallPacket] = {};
    for (;;) {
      ReceiveAll(client, packet.data(), packet.size());
      if (packet[0] == 'e') {
        fsync(file);
      } else {
        WriteAll(file, packet.data(), tvl::protocol::kPutChunk);
      }
      SendAll(client, answer, sizeof answer);
    }
  });
  const int server = ConnectTo(port);
  const int file = open(source.c_str(), O_RDONLY | O_CLOEXEC);
  std::vector<char> packet(kPutPacket);
  char answer[kSmallPacket];
  const auto began = Clock::now();
  ssize_t count = 0;
  do {
    count = read(file, packet.data() + tvl::protocol::kDataOffset, tvl::protocol::kPutChunk);
    packet[0] = count > 0 ? 'd' : 'e';
    SendAll(server, packet.data(), packet.size());
    ReceiveAll(server, answer, sizeof answer);
  } while (count > 0);
  const double seconds = SecondsSince(began);
  close(file);
  close(server);
  return seconds;
}

double PingPongFiles(int files, const fs::path& folder) {
  constexpr Turn kFirst = {20, kSmallFile + 20};
  constexpr Turn kLast = {kSmallPacket, 20};
  unsigned short port = 0;
  const Child peer = ServeOnce(port, [](int client) { Answer(client, {kFirst, kLast}); });
  const int server = ConnectTo(port);
  std::vector<char> packet(kGetPacket);
  fs::create_directories(folder);
  const auto began = Clock::now();
  for (int i = 0; i < files; ++i) {
    Take(server, kFirst, packet);
    const std::string path = (folder / std::to_string(i)).string();
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    WriteAll(file, packet.data(), kSmallFile);
    Take(server, kLast, packet);
    futimens(file, nullptr);
    close(file);
  }
  const double seconds = SecondsSince(began);
  close(server);
  return seconds;
}

double PingPongRelayed(std::size_t packets, std::size_t there, std::size_t back, int milliseconds) {
  unsigned short port = 0;
  const Child peer = ServeOnce(port, [=](int client) { Answer(client, {{there, back}}); });
  const Relay relay(port, milliseconds);
  const int server = ConnectTo(relay.port);
  std::vector<char> packet(std::max(there, back));
  const auto began = Clock::now();
  for (; packets > 0; --packets) Take(server, {there, back}, packet);
  const double seconds = SecondsSince(began);
  close(server);
  return seconds;
}

}  // namespace bench
