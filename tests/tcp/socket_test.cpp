#include "tcp/socket.h"

#include <sys/socket.h>
#include <time.h>

#include <chrono>
#include <functional>
#include <limits>
#include <semaphore>
#include <thread>

#include "base/pump.h"
#include "support/testing.h"
#include "tcp/connection.h"
#include "tcp/packets.h"
#include "tcp/peer.h"
#include "tcp/script.h"

namespace {

using namespace std::chrono_literals;

// A signal from one thread to another.
using Sign = std::counting_semaphore<>;

constexpr auto kPatience = 20s;

// Calls a function in every pump of this thread as long as the object exists.
class Hook {
 public:
  explicit Hook(std::function<void()> function) : function_(std::move(function)) {
    tvl::SetPumpHook([](void* self) { static_cast<Hook*>(self)->function_(); }, this);
  }
  ~Hook() { tvl::SetPumpHook(nullptr, nullptr); }
  Hook(const Hook&) = delete;
  Hook& operator=(const Hook&) = delete;

 private:
  std::function<void()> function_;
};

string Receive(CJSock& socket, int count) {
  string bytes(static_cast<std::size_t>(count), 0);
  const int got = socket.ReceiveAll(bytes.data(), count);
  return got == count ? bytes : "result " + std::to_string(got);
}

int Send(CJSock& socket, const string& bytes) {
  return socket.SendAll(bytes.data(), static_cast<int>(bytes.size()));
}

// Pumps the notifications of the socket until `done` returns true, for at most 20 seconds.
template <typename Condition>
void PumpUntil(CJSock& socket, Condition done) {
  const tvl::SocketWait wait(socket);
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (!done() && std::chrono::steady_clock::now() < end) PumpMessages();
}

TEST(TcpSocket, TriesAllAddressesOfAHost) {
  for (const char* address : {"127.0.0.1", "::1"}) {
    Server server([](Peer& peer) { peer.Send(peer.Read(2)); }, address);
    const unsigned int port = server.Port();
    if (port == 0) continue;  // a machine without IPv6
    const std::pair<const char*, unsigned int> nobody[] = {{"127.0.0.9", port},
                                                           {"255.255.255.255", port},
                                                           {"127.0.0.1", port + 65536},
                                                           {"nowhere.test", port},
                                                           {"", port}};
    CJSock socket;
    for (const auto& [host, hosts_port] : nobody) {
      ASSERT_EQ(socket.ConnectHost(host, hosts_port), 0) << host << ' ' << hosts_port;
      EXPECT_NE(socket.lastError, 0);
      EXPECT_EQ(Send(socket, ""), 0);
      EXPECT_EQ(Receive(socket, 0), "result -1");
    }
    ASSERT_EQ(socket.ConnectHost("several.test", port), 1) << address;
    EXPECT_EQ(Send(socket, "hi"), 1);
    EXPECT_EQ(Receive(socket, 2), "hi") << address;
  }
}

// Urgent bytes are received inline.
TEST(TcpSocket, ReturnsBytesReceivedTogether) {
  Server server([](Peer& peer) {
    peer.Send("abcd");
    peer.Send("e", MSG_OOB);
    peer.Send("fg");
    peer.Send("xyz" + peer.Read(1));
  });
  CJSock socket;
  ASSERT_EQ(socket.ConnectHost("127.0.0.1", server.Port()), 1);
  PumpUntil(socket, [&] { return socket.rxWrite == 7; });
  EXPECT_EQ(Receive(socket, 3), "abc");
  EXPECT_EQ(Receive(socket, 0), "");
  ASSERT_EQ(Receive(socket, 4), "defg");
  EXPECT_EQ(socket.ReceiveAll(nullptr, -1), -1);
  EXPECT_EQ(Send(socket, ""), 1);
  EXPECT_EQ(Send(socket, "1"), 1);
  EXPECT_EQ(Receive(socket, 4), "xyz1");
  EXPECT_EQ(socket.rxCapacity, 7);
}

TEST(TcpSocket, CloseIsReportedAfterLastBytes) {
  CJSock socket;
  for (const bool reset : {false, true}) {
    for (const bool taken : {true, false}) {
      Server server([=](Peer& peer) {
        peer.Send("abc");
        peer.Read(1);
        if (reset) peer.Reset();
      });
      ASSERT_EQ(socket.ConnectHost("127.0.0.1", server.Port()), 1);
      if (taken) PumpUntil(socket, [&] { return socket.rxWrite == 3; });
      EXPECT_EQ(Send(socket, "1"), 1);
      server.Join();
      if (!taken) PumpUntil(socket, [&] { return socket.connected == 0; });
      EXPECT_EQ(socket.rxWrite, 3) << "what came before the close was stored";
      EXPECT_EQ(Receive(socket, 3), taken ? "abc" : "result -1");
      EXPECT_EQ(Receive(socket, 1), "result -1");
      EXPECT_EQ(socket.lastError, WSAECONNRESET);
      EXPECT_EQ(Send(socket, ""), 0);
    }
  }
}

// The second one meets a connection that is closed on both sides.
TEST(TcpSocket, LateSendFailsWithoutASignal) {
  Server server([](Peer&) {});
  CJSock socket;
  ASSERT_EQ(socket.ConnectHost("127.0.0.1", server.Port()), 1);
  server.Join();
  Send(socket, "x");
  EXPECT_EQ(Send(socket, "x"), 0);
}

TEST(TcpSocket, SendsEveryByteOnceOrFails) {
  const string bytes = Noise(16 << 20);
  for (const bool reads : {true, false}) {
    Sign waits(0);
    const Hook hook([&] { waits.release(); });
    Server server([&](Peer& peer) {
      EXPECT_TRUE(waits.try_acquire_for(kPatience));
      if (!reads) return;
      EXPECT_TRUE(peer.Read(bytes.size()) == bytes);
      EXPECT_TRUE(peer.AtEnd());
    });
    CJSock socket;
    ASSERT_EQ(socket.ConnectHost("127.0.0.1", server.Port()), 1);
    EXPECT_EQ(Send(socket, bytes), reads ? 1 : 0);
  }
}

// The buffer fills while the first bytes wait, or during a read that needs more than it has room for.
TEST(TcpSocket, ReceivesAllThroughALimitedBuffer) {
  constexpr int bound = 1 << 20;
  const string bytes = Noise(3 * bound);
  for (const int at_first : {bound - 100, bound, 3 * bound}) {
    for (const int read : {std::min(at_first, bound), bound - 200}) {
      Sign waits(0);
      Server server([&](Peer& peer) {
        const std::string_view all = bytes;
        peer.Send(all.substr(0, static_cast<std::size_t>(at_first)));
        EXPECT_TRUE(waits.try_acquire_for(kPatience));
        peer.Send(all.substr(static_cast<std::size_t>(at_first)));
      });
      CJSock socket;
      ASSERT_EQ(socket.ConnectHost("127.0.0.1", server.Port()), 1);
      PumpUntil(socket, [&] { return socket.rxWrite == std::min(at_first, bound); });
      waits.release();
      int pumps = 0;
      PumpUntil(socket, [&] { return ++pumps > 3; });
      string got = Receive(socket, read);
      while (got.size() < bytes.size()) {
        const auto count = static_cast<int>(std::min<std::size_t>(40963, bytes.size() - got.size()));
        got += Receive(socket, count);
      }
      EXPECT_TRUE(got == bytes) << at_first << ' ' << read;
      EXPECT_EQ(socket.rxCapacity, bound);
    }
  }
}

// Returns the processor time used by this thread.
long UsedMilliseconds() {
  timespec now = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<long>(now.tv_sec) * 1000 + now.tv_nsec / 1'000'000;
}

void WorkForMilliseconds(long milliseconds) {
  const long end = UsedMilliseconds() + milliseconds;
  while (UsedMilliseconds() < end) {
  }
}

// A wait lasts as long as necessary, and calls the hook regularly.
TEST(TcpWaits, LastTwoSecondsAndCallHook) {
  using Clock = std::chrono::steady_clock;
  Sign late(0);
  Server server(AnswersLocks({"3"}, [&] { EXPECT_TRUE(late.try_acquire_for(kPatience)); }));
  Connection client(server);
  const long before = UsedMilliseconds();
  const Clock::time_point begin = Clock::now();
  int calls = 0;
  const Hook hook([&] {
    ++calls;
    if (Clock::now() - begin > 2500ms) late.release();
  });
  EXPECT_EQ(client.LockState("A"), 3);
  EXPECT_LT(UsedMilliseconds() - before, 400) << "it sleeps between two turns";
  EXPECT_GE(calls, 20);
}

// Another connection may be used meanwhile, even if it waits too.
TEST(TcpWaits, AllowHookToUseAnotherConnection) {
  Sign inner_done(0);
  Server outer_server(AnswersLocks({"2"}, [&] { EXPECT_TRUE(inner_done.try_acquire_for(kPatience)); }));
  Server inner_server(AnswersLocks({"3"}));
  Connection outer(outer_server);
  Connection inner(inner_server);
  bool begun = false;
  int inner_state = 0;
  const Hook hook([&] {
    if (std::exchange(begun, true)) return;
    inner_state = inner.LockState("A");
    inner_done.release();
  });
  EXPECT_EQ(outer.LockState("A"), 2);
  EXPECT_EQ(inner_state, 3);
}

TEST(TcpWaits, SleepUntilTheAnswerWithoutAHook) {
  Server server(AnswersLocks({"1"}, [] { WorkForMilliseconds(400); }));
  Connection client(server);
  const long before = UsedMilliseconds();
  EXPECT_EQ(client.LockState("A"), 1);
  EXPECT_LT(UsedMilliseconds() - before, 60);
}

TEST(TcpWaits, ServeThreadThatUsesConnection) {
  Server server(AnswersLocks({"1", "2", "3"}));
  Connection client;
  std::thread([&] { ASSERT_EQ(client.Connect(server.Port()), 0); }).join();
  EXPECT_EQ(client.LockState("A"), 1);
  std::thread([&] { EXPECT_EQ(client.LockState("A"), 2); }).join();
  EXPECT_EQ(client.LockState("A"), 3);
}

// Packets on a connection of their own.
struct Talk {
  explicit Talk(Server::Part part) : server(std::move(part)) {
    EXPECT_EQ(socket.ConnectHost("127.0.0.1", server.Port()), 1);
  }

  Server server;
  CJSock socket;
  int opened = 1;
  tvl::Packets pack{socket, opened};
};

TEST(TcpPackets, GrowToTheirLimit) {
  const string longest(32758, 'x');
  Talk talk([&](Peer& peer) {
    for (const string& packet : {"A" + longest.substr(1), string("first"), longest, string(), string("kept")})
      EXPECT_TRUE(peer.ReadPacket() == packet) << packet.substr(0, 10);
    EXPECT_TRUE(peer.AtEnd());
  });
  EXPECT_EQ(talk.pack.Add2Pack(1, "%c", 'A'), 1);
  EXPECT_EQ(talk.pack.Add2Pack(0, "%s", longest.substr(1).c_str()), 1);
  EXPECT_EQ(talk.pack.PackSend(), 1);
  EXPECT_EQ(talk.pack.Add2Pack(1, "dropped"), 1);
  EXPECT_EQ(talk.pack.Add2Pack(1, "%s", "first"), 1);
  EXPECT_EQ(talk.pack.Add2Pack(0, "%s", longest.c_str()), 1) << "sends what was there";
  for (int again = 0; again < 2; ++again) EXPECT_EQ(talk.pack.PackSend(), 1);
  EXPECT_EQ(talk.pack.Add2Pack(1, "%s", "kept"), 1);
  EXPECT_EQ(talk.pack.Add2Pack(0, "%s", string(32759, 'x').c_str()), 0);
  EXPECT_EQ(talk.pack.PackSend(), 1);
  talk.socket.Abandon();
  EXPECT_EQ(talk.pack.Add2Pack(1, "%s", "1"), 1);
  EXPECT_EQ(talk.pack.Add2Pack(0, "%s", longest.c_str()), 0) << "the connection has gone";
  EXPECT_EQ(talk.opened, 0);
}

// A field must be a number only; a leading number ends at other text.
TEST(TcpPackets, FieldsAndNumbers) {
  constexpr int none = -99;
  constexpr int least = std::numeric_limits<int>::min();
  constexpr int most = std::numeric_limits<int>::max();
  const std::tuple<const char*, int, std::int64_t> numbers[] = {
      {" +12 ", 12, 12},
      {"  -0012   ", -12, -12},
      {"1 2\r", none, 1},
      {"+-7", none, 0},
      {"   ", none, 0},
      {"\n7", none, 7},
      {"2147483648", most, 2147483648},
      {"-2147483649", least, -2147483649},
      {"99999999999999999999", most, std::numeric_limits<std::int64_t>::max()}};
  string many;
  for (int i = 0; i < 40; ++i) many += "\t" + std::to_string(i) + "\t";
  Talk talk([&](Peer& peer) {
    for (const auto& number : numbers) peer.Send(Reply(std::get<0>(number)));
    peer.Send(Reply(many));
  });
  for (const auto& [text, field, leading] : numbers) {
    ASSERT_EQ(talk.pack.PackReceive(), 1);
    talk.pack.Unpack2Toks("\t");
    EXPECT_EQ(talk.pack.NumericTok(0, none), field) << '"' << text << '"';
    EXPECT_EQ(tvl::LeadingNumber(text), leading) << '"' << text << '"';
  }
  ASSERT_EQ(talk.pack.PackReceive(), 1);
  talk.pack.Unpack2Toks("\t");
  EXPECT_EQ(talk.pack.NumericTok(30, none), 30) << "the last field that fits";
  for (const int index : {31, 32, 1000, -1}) EXPECT_EQ(talk.pack.NumericTok(index, none), none) << index;
}

}  // namespace
