#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "host/descriptor.h"
#include "server/server_process.h"
#include "server/threads.h"
#include "transfer/zlib_stream.h"

// Everything at once that a client can do to the others, next to one that does its work.

namespace {

using std::string;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kExpanded = 64'000'000;

string Packed(const string& bytes) {
  tvl::Deflater deflater;
  string packed;
  char piece[16384];
  for (const unsigned int size : {static_cast<unsigned int>(bytes.size()), 0U}) {
    deflater.Put(bytes.data(), size);
    while (const unsigned int count = deflater.Take(piece, sizeof piece)) packed.append(piece, count);
  }
  return packed;
}

class Flood : public testing::Test {
 protected:
  Flood() {
    folder.Write("tags", "good\twrite\nreader\tread\nbomber\twrite\n");
    mkfifo(fifo.c_str(), 0600);
    unread.emplace(open(fifo.c_str(), O_RDWR | O_CLOEXEC));
    store.WriteZeros("big", 1'000'000'000);
    store.Write("small", string(4096, 's'));
    server.emplace(store,
                   std::vector<string>{"--tags", folder.Host("tags"), "--log", fifo, "--max-file", "8M"});
  }

  // What attackers do again and again. A connection that the server ends is made again.
  void Again(const std::function<void()>& attack) {
    while (!done) {
      try {
        attack();
        ++attacks;
      } catch (const std::runtime_error&) {
      }
    }
  }

  void KeepSilent() {
    std::deque<RawClient> silent;
    Again([&] {
      silent.emplace_back(server->Port());
      if (silent.size() > 100) silent.pop_front();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    });
  }

  void Guess() {
    Again([&] {
      RawClient(server->Port()).Send(RawClient::HandshakeBytes({.tag = "wrong"}));
      std::this_thread::sleep_for(std::chrono::milliseconds(1));  // or ports would run out
    });
  }

  void ReadSlowly() {
    std::deque<RawClient> slow;
    Again([&] {
      if (slow.size() < 20) {
        slow.push_back(server->Enter({.tag = "reader"}));
        slow.back().AskAheadFor("big");
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    });
  }

  void Bomb(int number) {
    const string packed = Packed(string(kExpanded, '\0'));
    Again([&] {
      const RawClient client = server->Enter({.tag = "bomber"});
      EXPECT_EQ(client.Put("bomb" + std::to_string(number), packed), 22);
    });
  }

  // Measures gets, locks and puts of one client, which comes again and again, and ends the attacks.
  void Work() {
    const std::unique_ptr<std::atomic<bool>, void (*)(std::atomic<bool>*)> at_end(
        &done, [](std::atomic<bool>* flag) { *flag = true; });
    const string packed = Packed("some bytes");
    for (int visit = 0; visit < 5; ++visit) {
      const RawClient client = server->Enter({.tag = "good"});
      for (int turn = 0; turn < 20; ++turn) {
        const auto began = Clock::now();
        ASSERT_GT(client.Get("small").bytes.size(), 0U);
        ASSERT_EQ(client.Lock("ORD1"), "1\tpc1");
        ASSERT_EQ(client.Ask("lORD1"), "0");
        ASSERT_EQ(client.Put("mine", packed), 0);
        times.push_back(Clock::now() - began);
      }
      client.Leave();
    }
  }

  const TempFolder folder;
  const string fifo = folder.Host("fifo");
  std::optional<tvl::Descriptor> unread;
  const ServedStore store{true};
  std::optional<ServerProcess> server;
  std::atomic<bool> done = false;
  std::atomic<int> attacks = 0;
  std::vector<std::chrono::duration<double>> times;
};

TEST_F(Flood, LeavesAnHonestClientItsWork) {
  InThreads(7, [&](int i) {
    if (i == 0) Work();
    if (i == 1) KeepSilent();
    if (i == 2) ReadSlowly();
    if (i == 3 || i == 4) Guess();
    if (i > 4) Bomb(i);
  });
  ASSERT_EQ(times.size(), 100U);
  std::sort(times.begin(), times.end());
  std::printf("get, lock, unlock and put in a flood: median %.1f ms, 99 of 100 within %.1f ms, %d attacks\n",
              times[50].count() * 1e3, times[98].count() * 1e3, attacks.load());
  EXPECT_LT(times[98], std::chrono::seconds(5));
  EXPECT_EQ(store.Read("mine"), "some bytes");
  server->Signal(SIGTERM);
  EXPECT_EQ(server->Wait(), 0);
  EXPECT_EQ(store.Files(), (std::vector<string>{"big", "mine", "small"}));
}

}  // namespace
