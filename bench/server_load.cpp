#include "server_load.h"

#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <fstream>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>

#include "server_peers.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kBusyClients = 200;
constexpr int kBusyTurns = 25;
constexpr int kGets = 2000;
constexpr int kGetRounds = 41;
constexpr int kMostClients = 9999;
constexpr int kEnterAtOnce = 50;  // below what the server lets wait for their handshakes
constexpr rlim_t kFiles = 50'000;
constexpr std::chrono::seconds kIdle(5);

double SecondsSince(Clock::time_point began) {
  return std::chrono::duration<double>(Clock::now() - began).count();
}

// Times of one kind of request, of all clients.
struct Times {
  std::vector<double> seconds;

  [[nodiscard]] Row ToRow(const std::string& work) {
    std::sort(seconds.begin(), seconds.end());
    const double median = seconds[seconds.size() / 2];
    return {"slowest of a hundred " + work, seconds[seconds.size() * 99 / 100], "median", median, "s", 10};
  }
};

void GetOnce(int server) {
  SendPacket(server, "Gbusy\t@");
  if (ReceivePacket(server).at(0) != '0') throw std::runtime_error("get refused");
  SendPacket(server, "0");
  ReceivePacket(server);
}

void LockOnce(int server, const std::string& object) {
  SendPacket(server, "L" + object);
  if (ReceivePacket(server).at(0) != '1') throw std::runtime_error("not locked");
  SendPacket(server, "l" + object);
  if (ReceivePacket(server) != "0") throw std::runtime_error("not unlocked");
}

double GetMany(int server) {
  const auto began = Clock::now();
  for (int i = 0; i < kGets; ++i) GetOnce(server);
  return SecondsSince(began);
}

// A line of /proc/PID/FILE that begins with `key`, in MiB.
double MiB(pid_t pid, const char* file, const std::string& key) {
  std::ifstream lines("/proc/" + std::to_string(pid) + "/" + file);
  std::string word;
  double kib = 0;
  while (lines >> word && word != key) {
  }
  lines >> kib;
  return kib / 1024;
}

// Clock ticks that the process has used, in the program and in the kernel.
long Ticks(pid_t pid) {
  constexpr int kUserTicks = 14;
  std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
  std::string word;
  long ticks = 0;
  for (int field = 1; field <= kUserTicks + 1 && stat >> word; ++field) {
    if (field >= kUserTicks) ticks += std::stol(word);
  }
  return ticks;
}

double ProcessorSeconds(pid_t pid) {
  return static_cast<double>(Ticks(pid)) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// Enters as many clients as the server accepts.
std::vector<int> EnterAll(unsigned short port) {
  std::vector<int> clients;
  bool full = false;
  while (!full && clients.size() < kMostClients) {
    std::vector<int> coming;
    while (coming.size() < kEnterAtOnce && clients.size() + coming.size() < kMostClients) {
      coming.push_back(ConnectTo(port));
      SendHandshake(coming.back(), "pc" + std::to_string(clients.size() + coming.size()));
    }
    for (const int client : coming) {
      const bool accepted = IsWelcome(ReceivePacket(client));
      if (accepted) clients.push_back(client);
      if (!accepted) close(client);
      full = full || !accepted;
    }
  }
  return clients;
}

}  // namespace

std::vector<Row> BusyRows(unsigned short port) {
  Times gets;
  Times locks;
  std::vector<int> clients;
  for (int i = 0; i < kBusyClients; ++i) clients.push_back(Enter(port, "busy" + std::to_string(i)));
  std::mutex mutex;
  std::exception_ptr problem;
  const auto work = [&](int client) {
    std::vector<double> own_gets;
    std::vector<double> own_locks;
    // In the first turn all threads start, which is not the server's affair.
    for (int turn = 0; turn <= kBusyTurns; ++turn) {
      const auto began = Clock::now();
      GetOnce(client);
      const double get = SecondsSince(began);
      LockOnce(client, "busy" + std::to_string(client));
      if (turn == 0) continue;
      own_gets.push_back(get);
      own_locks.push_back(SecondsSince(began) - get);
    }
    const std::lock_guard<std::mutex> guard(mutex);
    gets.seconds.insert(gets.seconds.end(), own_gets.begin(), own_gets.end());
    locks.seconds.insert(locks.seconds.end(), own_locks.begin(), own_locks.end());
  };
  std::vector<std::thread> threads;
  for (const int client : clients) {
    threads.emplace_back([&, client] {
      try {
        work(client);
      } catch (...) {
        const std::lock_guard<std::mutex> guard(mutex);
        problem = std::current_exception();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const int client : clients) close(client);
  if (problem) std::rethrow_exception(problem);
  return {gets.ToRow("gets, 200 clients at once"), locks.ToRow("locks + unlocks of these")};
}

std::vector<Row> IdleRows(unsigned short port, pid_t server) {
  const double before = MiB(server, "smaps_rollup", "Pss:");
  const std::vector<int> clients = EnterAll(port);
  std::this_thread::sleep_for(std::chrono::seconds(1));
  const long ticks = Ticks(server);
  std::this_thread::sleep_for(kIdle);
  const std::string idle = std::to_string(clients.size()) + " idle clients";
  std::printf("%s: %ld clock ticks of processor time in 5 s\n", idle.c_str(), Ticks(server) - ticks);
  const double pss = MiB(server, "smaps_rollup", "Pss:");
  const double rss = MiB(server, "status", "VmRSS:");
  for (const int client : clients) close(client);
  return {{"memory (PSS) with " + idle, pss, "without", before, "MiB", 100, false},
          {"memory (RSS) with these", rss, "without", before, "MiB", 100, false}};
}

// Both in short turns, so that other work on the computer slows down both.
std::vector<Row> StatusRows(const Measured& without, const Measured& with, unsigned short status) {
  const std::string request = "GET /events HTTP/1.1\r\nHost: localhost\r\n\r\n";
  const int page = ConnectTo(status);
  SendAll(page, request.data(), request.size());
  struct {
    Measured server;
    int client;
    std::vector<double> seconds;
    double processor;
  } sides[] = {{without, Enter(without.port, "without"), {}, 0}, {with, Enter(with.port, "with"), {}, 0}};
  for (auto& side : sides) side.processor = -ProcessorSeconds(side.server.server);
  for (int round = 0; round < kGetRounds; ++round) {
    for (auto& side : sides) side.seconds.push_back(GetMany(side.client));
  }
  for (auto& side : sides) {
    side.processor += ProcessorSeconds(side.server.server);
    std::sort(side.seconds.begin(), side.seconds.end());
    close(side.client);
  }
  close(page);
  const double plain = sides[0].seconds[kGetRounds / 4];
  const double watched = sides[1].seconds[kGetRounds / 4];
  std::printf("gets of 4 KiB per second: %.0f without --status, %.0f with it\n", kGets / plain,
              kGets / watched);
  return {{"2,000 gets of 4 KiB, --status and a page", watched, "without --status", plain, "s", 1.03},
          {"processor time of all turns", sides[1].processor, "without --status", sides[0].processor, "s",
           kNoAim}};
}

void RaiseFileLimit() {
  const rlimit wanted = {kFiles, kFiles};
  rlimit limit = {};
  if (setrlimit(RLIMIT_NOFILE, &wanted) == 0 || getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace bench
