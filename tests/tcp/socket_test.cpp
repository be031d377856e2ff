#include "tcp/socket.h"

#include <gtest/gtest.h>

#include <string>

#include "base/pump.h"
#include "tcp/hook.h"
#include "tcp/peer.h"

namespace {

using std::string;

string Receive(CJSock& socket, int count) {
  string bytes(static_cast<std::size_t>(count), 0);
  const int got = socket.ReceiveAll(bytes.data(), count);
  return got == count ? bytes : "result " + std::to_string(got);
}

int Send(CJSock& socket, const string& bytes) {
  return socket.SendAll(bytes.data(), static_cast<int>(bytes.size()));
}

// Lets the socket's notifications come until `done` holds.
template <typename Condition>
void PumpUntil(CJSock& socket, Condition done) {
  const tvl::SocketWait wait(socket);
  while (!done()) PumpMessages();
}

// Bytes of which no two places are alike for long.
string Pattern(std::size_t size) {
  string bytes(size, 0);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 2654435761U >> 13U);
  return bytes;
}

TEST(Socket, FindsNobody) {
  unsigned int free_port = 0;
  {
    const Listener gone;
    free_port = gone.Port();
  }
  const std::pair<const char*, unsigned int> nobody[] = {
      {"127.0.0.1", free_port}, {"several.test", free_port}, {"unreachable.test", 9}, {"127.0.0.1", 0},
      {"127.0.0.1", 70000},     {"nowhere.test", free_port}, {"", free_port}};
  for (const auto& [host, port] : nobody) {
    CJSock socket;
    EXPECT_EQ(socket.ConnectHost(host, port), 0) << host << ' ' << port;
    EXPECT_NE(socket.lastError, 0);
    EXPECT_EQ(Send(socket, ""), 0);
    EXPECT_EQ(Receive(socket, 0), "result -1");
  }
}

TEST(Socket, TriesAllAddressesOfAHost) {
  for (const string address : {"127.0.0.1", "::1"}) {
    if (!Listener(address.c_str()).IsOpen()) continue;  // a machine without IPv6
    for (const string& host : {address, string("several.test")}) {
      Server server([](Peer& peer) { peer.Send(peer.Read(2)); }, address.c_str());
      CJSock socket;
      ASSERT_EQ(socket.ConnectHost(host.c_str(), server.Port()), 1) << host;
      EXPECT_EQ(Send(socket, "hi"), 1);
      EXPECT_EQ(Receive(socket, 2), "hi") << host;
    }
  }
}

TEST(Socket, TellsNothingFromFailure) {
  Server server([](Peer& peer) { peer.Send(peer.Read(3)); });
  CJSock socket;
  ASSERT_EQ(socket.ConnectHost("127.0.0.1", server.Port()), 1);
  EXPECT_EQ(Send(socket, ""), 1);
  EXPECT_EQ(Receive(socket, 0), "");
  EXPECT_EQ(Send(socket, "abc"), 1);
  EXPECT_EQ(Receive(socket, 3), "abc");
  EXPECT_EQ(socket.ReceiveAll(nullptr, -1), -1);
  EXPECT_EQ(Receive(socket, 1), "result -1");
  EXPECT_EQ(socket.lastError, WSAECONNRESET);
  EXPECT_EQ(Send(socket, ""), 0);
}

TEST(Socket, HandsOutWhatCameInOneRun) {
  Server server([](Peer& peer) {
    peer.Send("abcdefg");
    peer.Read(1);
    peer.Send("xyz");
    peer.Read(1);
  });
  CJSock socket;
  ASSERT_EQ(socket.ConnectHost("127.0.0.1", server.Port()), 1);
  PumpUntil(socket, [&] { return socket.rxWrite == 7; });
  EXPECT_EQ(Receive(socket, 3), "abc");
  EXPECT_EQ(socket.rxRead, 3);
  EXPECT_EQ(Receive(socket, 4), "defg");
  EXPECT_EQ(socket.rxRead, 0);
  EXPECT_EQ(socket.rxWrite, 0);
  Send(socket, "1");
  EXPECT_EQ(Receive(socket, 3), "xyz");
  EXPECT_EQ(socket.rxCapacity, 7);
  Send(socket, "1");
}

TEST(Socket, CloseComesBehindTheLastBytes) {
  for (const bool reset : {false, true}) {
    const auto part = [=](Peer& peer) {
      peer.Send("abc");
      peer.Read(1);
      if (reset) peer.Reset();
    };
    Server taken(part);
    CJSock socket;
    ASSERT_EQ(socket.ConnectHost("127.0.0.1", taken.Port()), 1);
    PumpUntil(socket, [&] { return socket.rxWrite == 3; });
    Send(socket, "1");
    taken.Join();
    EXPECT_EQ(Receive(socket, 3), "abc");
    EXPECT_EQ(Receive(socket, 1), "result -1");

    Server lost(part);
    ASSERT_EQ(socket.ConnectHost("127.0.0.1", lost.Port()), 1);
    Send(socket, "1");
    PumpUntil(socket, [&] { return socket.connected == 0; });
    EXPECT_EQ(socket.rxWrite, 3) << "what came before the close was stored";
    EXPECT_EQ(socket.lastError, WSAECONNRESET);
    EXPECT_EQ(Receive(socket, 3), "result -1");
  }
}

TEST(Socket, SendsEveryByteOnceAcrossWaits) {
  const string bytes = Pattern(16 << 20);
  Sign waits;
  const Hook hook([&] { waits.Give(); });
  Server server([&](Peer& peer) {
    EXPECT_TRUE(waits.Await());
    EXPECT_TRUE(peer.Read(bytes.size()) == bytes);
    EXPECT_TRUE(peer.AtEnd());
  });
  CJSock socket;
  ASSERT_EQ(socket.ConnectHost("127.0.0.1", server.Port()), 1);
  EXPECT_EQ(Send(socket, bytes), 1);
}

TEST(Socket, SendEndsWithTheConnection) {
  const string bytes = Pattern(16 << 20);
  for (const bool reset : {false, true}) {
    Sign waits;
    const Hook hook([&] { waits.Give(); });
    Server server([&](Peer& peer) {
      EXPECT_TRUE(waits.Await());
      reset ? peer.Reset() : peer.HangUp();
    });
    CJSock socket;
    ASSERT_EQ(socket.ConnectHost("127.0.0.1", server.Port()), 1);
    EXPECT_EQ(Send(socket, bytes), 0);
  }
}

// Counts the notifications that come otherwise than from the pump.
class WatchedSocket : public CJSock {
 public:
  void OnReceive(int code) override {
    if (!pumped) ++outside;
    CJSock::OnReceive(code);
  }

  bool pumped = true;  // since it was last made false
  int outside = 0;
};

TEST(Socket, LeavesAFloodToTheSystem) {
  const string bytes = Pattern(8 << 20);
  constexpr int bound = 1 << 20;
  Server server([&](Peer& peer) { peer.Send(bytes); });
  WatchedSocket socket;
  const Hook hook([&] { socket.pumped = true; });
  ASSERT_EQ(socket.ConnectHost("127.0.0.1", server.Port()), 1);
  PumpUntil(socket, [&] { return socket.rxWrite == bound; });
  string got = Receive(socket, 10);
  while (got.size() < bytes.size()) {
    const auto count = static_cast<int>(std::min<std::size_t>(40963, bytes.size() - got.size()));
    socket.pumped = false;
    const string more = Receive(socket, count);
    ASSERT_EQ(more.size(), static_cast<std::size_t>(count));
    got += more;
  }
  EXPECT_TRUE(got == bytes);
  EXPECT_EQ(socket.rxCapacity, bound);
  EXPECT_EQ(socket.outside, 0);
}

TEST(Socket, KeepsUrgentBytesInLine) {
  bool urgent = false;
  Server server([&](Peer& peer) {
    peer.Send("ab");
    urgent = peer.SendUrgent('c');
    peer.Send("de");
  });
  CJSock socket;
  ASSERT_EQ(socket.ConnectHost("127.0.0.1", server.Port()), 1);
  const string four = Receive(socket, 4);
  server.Join();
  if (!urgent) GTEST_SKIP() << "no urgent bytes here";
  EXPECT_EQ(four, "abcd");
  EXPECT_EQ(Receive(socket, 1), "e");
}

}  // namespace
