// Compares tvlserver, used through the library's client, with the limits of its protocol and with another
// file server.

#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <tvlclient/tvlclient.h>

#include "process.h"
#include "server_load.h"
#include "server_peers.h"
#include "table.h"
#include "tcp/protocol.h"

namespace {

namespace fs = std::filesystem;
using bench::Row;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kMiB = 1024 * 1024;
constexpr int kSmallFiles = 5000;
constexpr int kLockRounds = 100;
constexpr int kRelayMilliseconds = 10;
constexpr std::size_t kRelayedSize = 16 * kMiB;
constexpr std::size_t kTextSize = 300;

struct Setting {
  std::string server;
  fs::path folder;
  std::size_t mib = 1024;
  int runs = 3;
  std::string only;
};

// State that all groups of rows share.
struct Place {
  const Setting& setting;
  bench::Served& served;
  fs::path work;
};

// Returns a text for an argument that the interface declares writable; valid for the next three calls.
char* Text(const std::string& text) {
  static std::string kept[4];
  static int next = 0;
  std::string& place = kept[next++ % 4];
  place = text;
  place.resize(kTextSize);
  return place.data();
}

double Seconds(const std::function<void()>& work) {
  const auto began = Clock::now();
  work();
  return std::chrono::duration<double>(Clock::now() - began).count();
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

void Check(bool good, const char* what) {
  if (!good) throw std::runtime_error(what);
}

void MakeFile(const fs::path& path, std::size_t size) {
  std::mt19937_64 random(size);
  std::vector<std::uint64_t> block(std::min(size, kMiB) / sizeof(std::uint64_t));
  for (std::uint64_t& word : block) word = random();
  std::ofstream file(path, std::ios::binary);
  const std::size_t bytes = block.size() * sizeof block[0];
  for (std::size_t written = 0; written < size; written += bytes) {
    file.write(reinterpret_cast<const char*>(block.data()), static_cast<std::streamsize>(bytes));
  }
}

void Connect(CTVLClientTcpOpr& client, unsigned short port, const fs::path& work) {
  const int code =
      client.Open(Text(work.string()), Text(""), Text("127.0.0.1"), port, Text("bnch"), Text(""));
  Check(code == TVL_OK, "cannot open");
}

void Get(CTVLClientTcpOpr& client, const std::string& remote, const std::string& local) {
  int forced = 1;
  Check(client.GetRemote(Text(remote), Text(local), &forced) == TVL_OK, "get failed");
}

void Put(CTVLClientTcpOpr& client, const std::string& local, const std::string& remote) {
  int forced = 1;
  Check(client.PutRemote(Text(remote), Text(local), &forced) == TVL_OK, "put failed");
}

// Times of several ways of doing the same, measured alternately; ours is the first.
class Times {
 public:
  explicit Times(std::size_t ways) : times_(ways) {}

  void Add(std::size_t way, double seconds) { times_[way].push_back(seconds); }

  [[nodiscard]] Row ToRow(const std::string& work, std::size_t way, const char* versus, double aim) const {
    return {work, Median(times_[0]), versus, Median(times_[way]), "s", aim};
  }

 private:
  std::vector<std::vector<double>> times_;
};

// Runs rsync with its daemon at the other end of a socket pair, so that only its start is included. The
// daemon serves the store.
double Rsync(const Place& place, const std::string& from, const std::string& to) {
  const fs::path config = place.setting.folder / "rsyncd.conf";
  std::ofstream(config) << "use chroot = no\n"
                        << (geteuid() == 0 ? "uid = root\n" : "")  // or it would run as user nobody
                        << "[store]\nread only = no\npath = " << place.served.root.string() << "\n";
  return bench::Run({"sh", "-c",
                     "RSYNC_CONNECT_PROG='rsync --daemon --config=" + config.string() + "' rsync -rt " +
                         from + " " + to})
      .seconds;
}

constexpr char kDaemon[] = "rsync://localhost/store/";

std::vector<Row> BigRows(const Place& place) {
  const std::size_t size = place.setting.mib * kMiB;
  const fs::path stored = place.served.root / "big";
  const fs::path local = place.work / "big";
  const fs::path other = place.work / "other";
  const fs::path landed = place.served.root / "put";
  MakeFile(stored, size);
  CTVLClientTcpOpr client;
  Connect(client, place.served.port, place.work);
  Times gets(3);
  Times puts(3);
  const auto time = [&](Times& times, std::size_t way, const fs::path& target, const auto& work) {
    fs::remove(target);
    sync();
    times.Add(way, work());
  };
  for (int run = 0; run < place.setting.runs; ++run) {
    time(gets, 1, other, [&] { return bench::PingPongGet(size, other); });
    time(gets, 2, other, [&] { return Rsync(place, kDaemon + std::string("big"), other.string()); });
    time(gets, 0, local, [&] { return Seconds([&] { Get(client, "big", "big"); }); });
    time(puts, 1, landed, [&] { return bench::PingPongPut(local, landed); });
    time(puts, 2, landed, [&] { return Rsync(place, local.string(), kDaemon + std::string("put")); });
    time(puts, 0, landed, [&] { return Seconds([&] { Put(client, "big", "put"); }); });
  }
  for (const fs::path& file : {stored, local, other, landed}) fs::remove(file);
  const std::string of = " of " + std::to_string(place.setting.mib) + " MiB";
  return {gets.ToRow("get" + of, 1, "ping-pong, same packets", 1 / 0.9),
          gets.ToRow("get" + of, 2, "rsync daemon", bench::kNoAim),
          puts.ToRow("put" + of, 1, "ping-pong, with fsync", 1 / 0.9),
          puts.ToRow("put" + of, 2, "rsync daemon, no fsync", bench::kNoAim)};
}

// Every run uses a new folder and nothing is deleted in between: for some seconds file systems do not reuse
// freed space, and their search for other space would distort the measurement.
std::vector<Row> SmallRows(const Place& place) {
  fs::create_directories(place.served.root / "small");
  for (int i = 0; i < kSmallFiles; ++i) MakeFile(place.served.root / "small" / std::to_string(i), 4096);
  CTVLClientTcpOpr client;
  Connect(client, place.served.port, place.work);
  TVLSetTransferWindow(8);
  CTVLClientTcpOpr with_window;
  Connect(with_window, place.served.port, place.work);
  TVLSetTransferWindow(0);
  const auto get_all = [](CTVLClientTcpOpr& from, const std::string& target) {
    sync();
    return Seconds([&] {
      for (int i = 0; i < kSmallFiles; ++i)
        Get(from, "small/" + std::to_string(i), target + std::to_string(i));
    });
  };
  Times times(4);
  for (int run = 0; run < place.setting.runs; ++run) {
    const std::string target = std::to_string(run) + "/";
    times.Add(0, get_all(client, target));
    times.Add(3, get_all(with_window, "window" + target));
    sync();
    times.Add(1, Rsync(place, kDaemon + std::string("small/"), (place.work / ("rsync" + target)).string()));
    sync();
    times.Add(2, bench::PingPongFiles(kSmallFiles, place.work / ("bound" + target)));
  }
  const char work[] = "get of 5,000 files of 4 KiB";
  return {times.ToRow(work, 1, "rsync daemon", 1.0), times.ToRow(work, 2, "same packets and files", 1.22),
          times.ToRow(work, 3, "with a transfer window", bench::kNoAim)};
}

double RoundTrip(unsigned short port) {
  const int server = bench::Enter(port, "round");
  const char unknown[] = {0, 0, 5, 0, '?'};
  char answer[5];
  const double seconds = Seconds([&] {
    for (int i = 0; i < kLockRounds; ++i) {
      bench::SendAll(server, unknown, sizeof unknown);
      bench::ReceiveAll(server, answer, sizeof answer);
    }
  });
  close(server);
  return seconds / kLockRounds;
}

double LockAndUnlock(CTVLClientOpr& client) {
  const double seconds = Seconds([&] {
    for (int i = 0; i < kLockRounds; ++i) {
      int state = 0;
      client.Lock(Text("bench"), &state, nullptr, nullptr, nullptr, nullptr, nullptr);
      Check(state == 1, "not locked");
      client.Unlock(Text("bench"), &state, nullptr, nullptr, nullptr, nullptr, nullptr);
    }
  });
  return seconds / kLockRounds;
}

std::vector<Row> LockRows(const Place& place) {
  Times times(2);
  for (int run = 0; run < place.setting.runs; ++run) {
    CTVLClientTcpOpr client;
    Connect(client, place.served.port, place.work);
    times.Add(0, LockAndUnlock(client));
    CTVLClientSmbOpr directory;
    Check(directory.Open(Text(""), Text(place.served.config), Text("bnch")) == TVL_OK,
          "cannot open the store");
    times.Add(1, LockAndUnlock(directory) + 2 * RoundTrip(place.served.port));
  }
  return {times.ToRow("lock + unlock", 1, "directory, 2 round trips", 1.2)};
}

// All clients lock at once, each its own object; then all unlock. Measures how long they waited for the
// answer to the lock: the median and the longest time.
struct Waits {
  double median;
  double longest;
};

Waits LockAtOnce(unsigned short port, int count) {
  std::vector<int> clients;
  for (int i = 0; i < count; ++i) clients.push_back(bench::Enter(port, "crowd" + std::to_string(i)));
  const auto ask = [&](char letter) {
    const auto began = Clock::now();
    for (int i = 0; i < count; ++i) {
      std::string packet = std::string(4, '\0') + letter + "crowd" + std::to_string(i);
      tvl::protocol::WriteLength(packet.data() + 1, packet.size());
      bench::SendAll(clients[static_cast<std::size_t>(i)], packet.data(), packet.size());
    }
    std::vector<double> waits;
    std::vector<std::thread> threads;
    std::mutex mutex;
    for (const int client : clients) {
      threads.emplace_back([&, client] {
        char answer[256];
        const bool came = recv(client, answer, sizeof answer, 0) > 0;
        const std::lock_guard<std::mutex> guard(mutex);
        if (came) waits.push_back(std::chrono::duration<double>(Clock::now() - began).count());
      });
    }
    for (std::thread& thread : threads) thread.join();
    Check(waits.size() == clients.size(), "no answer");
    return waits;
  };
  const std::vector<double> waits = ask('L');
  ask('l');
  for (const int client : clients) close(client);
  return {Median(waits), *std::max_element(waits.begin(), waits.end())};
}

std::vector<Row> CrowdRows(const Place& place) {
  Times medians(2);
  Times longest(2);
  for (int run = 0; run < place.setting.runs; ++run) {
    for (const std::size_t way : {0U, 1U}) {
      const Waits waits = LockAtOnce(place.served.port, way == 0 ? 200 : 10);
      medians.Add(way, waits.median);
      longest.Add(way, waits.longest);
    }
  }
  return {medians.ToRow("lock, 200 clients at once", 1, "10 clients at once", bench::kNoAim),
          longest.ToRow("the last of 200 clients", 1, "the last of 10", bench::kNoAim)};
}

// A get and a put on a line of its own with a long round trip.
struct Relayed {
  double get;
  double put;
};

Relayed TransferRelayed(const Place& place, std::size_t size, unsigned int window) {
  MakeFile(place.served.root / "relayed", size);
  const bench::Relay relay(place.served.port, kRelayMilliseconds);
  TVLSetTransferWindow(window);
  CTVLClientTcpOpr client;
  Connect(client, relay.port, place.work);
  TVLSetTransferWindow(0);
  const double get = Seconds([&] { Get(client, "relayed", "relayed"); });
  const double put = Seconds([&] { Put(client, "relayed", "relayed2"); });
  return {get, put};
}

std::vector<Row> WindowRows(const Place& place) {
  constexpr std::size_t kSize = 64 * kMiB;
  const Relayed with = TransferRelayed(place, kSize, 8);
  const Relayed without = TransferRelayed(place, kSize, 0);
  const char delay[] = " of 64 MiB with a window, 10 ms each way";
  return {{std::string("get") + delay, with.get, "without", without.get, "s", 1 / 8.0},
          {std::string("put") + delay, with.put, "without", without.put, "s", 1 / 8.0}};
}

std::vector<Row> BusyRows(const Place& place) {
  MakeFile(place.served.root / "busy", 4096);
  return bench::BusyRows(place.served.port);
}

std::vector<Row> StatusRows(const Place& place) {
  const fs::path port_file = place.setting.folder / "status.port";
  const bench::Served watched(place.setting.server, place.setting.folder / "watched",
                              {"--status", "0", "--status-port-file", port_file.string()});
  unsigned short status = 0;
  std::ifstream(port_file) >> status;
  for (const fs::path& root : {place.served.root, watched.root}) MakeFile(root / "busy", 4096);
  return bench::StatusRows({place.served.port, place.served.server.Pid()},
                           {watched.port, watched.server.Pid()}, status);
}

std::vector<Row> IdleRows(const Place& place) {
  return bench::IdleRows(place.served.port, place.served.server.Pid());
}

std::vector<Row> RelayRows(const Place& place) {
  constexpr std::size_t kGets = (kRelayedSize + bench::kGetChunk - 1) / bench::kGetChunk;
  constexpr std::size_t kPuts = (kRelayedSize + tvl::protocol::kPutChunk - 1) / tvl::protocol::kPutChunk;
  constexpr double kRound = 2 * kRelayMilliseconds / 1000.0;
  const auto [get, put] = TransferRelayed(place, kRelayedSize, 0);
  const double same = bench::PingPongRelayed(kGets, 5, bench::kGetChunk + 6, kRelayMilliseconds);
  const std::string delay = ", 10 ms each way";
  return {{"get of 16 MiB" + delay, get, "chunks x 20 ms", kRound * kGets, "s", 1 / 0.95},
          {"put of 16 MiB" + delay, put, "chunks x 20 ms", kRound * kPuts, "s", 1 / 0.95},
          {"get of 16 MiB" + delay, get, "same packets, same relay", same, "s", bench::kNoAim}};
}

struct Group {
  const char* word;
  std::vector<Row> (*rows)(const Place& place);
};

constexpr Group kGroups[] = {{"idle", IdleRows},   {"lock", LockRows},     {"crowd", CrowdRows},
                             {"busy", BusyRows},   {"status", StatusRows}, {"small", SmallRows},
                             {"relay", RelayRows}, {"window", WindowRows}, {"big", BigRows}};

bool Parse(int argc, char** argv, Setting& setting) {
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string name = argv[i];
    if (name == "--server") setting.server = fs::absolute(argv[i + 1]).string();
    if (name == "--dir") setting.folder = fs::absolute(argv[i + 1]);
    if (name == "--mib") setting.mib = std::stoul(argv[i + 1]);
    if (name == "--runs") setting.runs = std::stoi(argv[i + 1]);
    if (name == "--only") setting.only = argv[i + 1];
  }
  return argc % 2 == 1 && !setting.server.empty() && !setting.folder.empty();
}

std::vector<Row> RowsOf(const Setting& setting) {
  bench::RaiseFileLimit();
  bench::Served served(setting.server, setting.folder / "store");
  const Place place = {setting, served, setting.folder / "work"};
  fs::create_directories(place.work);
  std::vector<Row> rows;
  for (const Group& group : kGroups) {
    if (!setting.only.empty() && setting.only != group.word) continue;
    for (const Row& row : group.rows(place)) rows.push_back(row);
  }
  return rows;
}

// Removes the folder after the server has ended, which still removes the markers of its last clients.
void Measure(const Setting& setting) {
  fs::remove_all(setting.folder);
  bench::Print("The server", RowsOf(setting));
  fs::remove_all(setting.folder);
}

}  // namespace

int main(int argc, char** argv) try {
  Setting setting;
  if (!Parse(argc, argv, setting)) {
    std::fputs(
        "usage: server_bench --server PROGRAM --dir FOLDER [--mib N] [--runs N] [--only "
        "idle|lock|crowd|busy|status|small|relay|window|big]\n",
        stderr);
    return 2;
  }
  Measure(setting);
  return 0;
} catch (const std::exception& problem) {
  std::fprintf(stderr, "server_bench: %s\n", problem.what());
  return 1;
}
