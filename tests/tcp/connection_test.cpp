#include "tcp/connection.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "platform/system_calls.h"
#include "tcp/names.h"
#include "tcp/peer.h"
#include "tcp/script.h"

// What the case files can't say.

namespace {

using std::string;

// Makes a system call of the platform layer fail from the `good` + 1st on.
template <auto Entry>
class Failing;

template <typename Result, typename... Arguments, Result (*tvl::SystemCalls::*Entry)(Arguments...)>
class Failing<Entry> {
 public:
  explicit Failing(int good) {
    real = tvl::System().*Entry;
    left = good;
    tvl::System().*Entry = Call;
  }
  ~Failing() { tvl::System().*Entry = real; }
  Failing(const Failing&) = delete;
  Failing& operator=(const Failing&) = delete;

 private:
  static Result Call(Arguments... arguments) {
    if (left-- > 0) return real(arguments...);
    errno = EIO;
    return -1;
  }

  static inline Result (*real)(Arguments...) = nullptr;
  static inline int left = 0;
};

string Chunk(const string& data) {
  return string{static_cast<char>(data.size() >> 8U), static_cast<char>(data.size())} + data;
}

string FirstReply(const string& data) {
  return Reply(string("0\0"
                      "1000\0",
                      7) +
               Chunk(data));
}

TEST(TcpConnection, DrainsAGetThatCannotBeWritten) {
  Server server([](Peer& peer) {
    peer.Welcome();
    EXPECT_EQ(peer.ReadPacket(), "Ga\t@");
    peer.Send(FirstReply("one"));
    EXPECT_EQ(peer.ReadPacket(), "0");
    peer.Send(Reply(Chunk("two")));
    EXPECT_EQ(peer.ReadPacket(), "0");
    peer.Send(Reply(Chunk("") + "1234567890"));
    EXPECT_EQ(peer.ReadPacket(), "LA");
    peer.Send(Reply("1"));
    EXPECT_EQ(peer.ReadPacket(), "X");
  });
  Connection client;
  ASSERT_EQ(client.Connect(server.Port()), 0);
  {
    const Failing<&tvl::SystemCalls::write> full(1);
    EXPECT_EQ(client.Get("a", "a"), TVL_ERR_LOCAL_FILE);
  }
  EXPECT_EQ(client.transferred, 0);
  EXPECT_EQ(client.folder.Read("work/a"), "one");
  EXPECT_EQ(client.LockState("A"), 1);
}

TEST(TcpConnection, EndsAPutThatCannotBeRead) {
  Server server([](Peer& peer) {
    peer.Welcome();
    peer.ReadPacket();
    peer.Send(Reply("0"));
    EXPECT_EQ(peer.ReadPacket().size(), 32761U);
    peer.Send(Reply("0"));
    EXPECT_EQ(peer.ReadPacket(), "LA") << "which ends the put";
    peer.Send(Reply("1"));
    EXPECT_EQ(peer.ReadPacket(), "X");
  });
  Connection client;
  client.transferred = 1;
  ASSERT_EQ(client.Connect(server.Port()), 0);
  client.folder.Write("work/a", string(50000, 'x'));
  {
    const Failing<&tvl::SystemCalls::read> bad(1);
    EXPECT_EQ(client.Put("a", "a"), TVL_ERR_LOCAL_FILE);
  }
  EXPECT_EQ(client.LockState("A"), 1);
}

TEST(TcpConnection, GoesWithoutNames) {
  Server server([](Peer& peer) {
    EXPECT_EQ(peer.Read(36), string("#\0$\0*00tvlc\0unknown\0Unknown\0longtag\0", 36));
    peer.Send(Reply("S\t0"));
    EXPECT_EQ(peer.ReadPacket(), "X");
  });
  const NoNames none;
  Connection client;
  EXPECT_EQ(client.Connect(server.Port(), "127.0.0.1", "tvlc", "longtag"), 0);
}

TEST(TcpConnection, SignsHostAndPort) {
  std::vector<string> signatures;
  Listener listener;
  for (const char* host : {"127.0.0.1", "127.0.0.1", "several.test"}) {
    std::thread server([&] {
      Peer peer(listener.Accept());
      peer.Welcome();
      peer.ReadRest();
    });
    {
      Connection client;
      EXPECT_EQ(client.Connect(listener.Port(), host), 0);
      signatures.emplace_back(client.ServerID());
    }
    server.join();
  }
  EXPECT_EQ(signatures[0].find_first_not_of("0123456789abcdef"), string::npos);
  EXPECT_EQ(signatures[0].size(), 40U);
  EXPECT_EQ(signatures[0], signatures[1]);
  EXPECT_NE(signatures[0], signatures[2]);
}

TEST(TcpConnection, WithoutAWorkingDirectoryTransfersFail) {
  for (const string& directory : {string(), "/" + string(300, 'd')}) {
    Server server([](Peer& peer) {
      peer.Welcome();
      EXPECT_EQ(peer.ReadPacket(), "LA");
      peer.Send(Reply("1"));
      EXPECT_EQ(peer.ReadPacket(), "X") << "nothing was asked for";
    });
    Connection client;
    ASSERT_EQ(client.Open(Arg(directory), Arg(""), Arg("127.0.0.1"), server.Port(), Arg(""), Arg("")), 0);
    EXPECT_EQ(client.Get("a", "a"), TVL_ERR_LOCAL_FILE);
    EXPECT_EQ(client.Put("a", "a"), TVL_ERR_LOCAL_FILE);
    EXPECT_EQ(client.LockState("A"), 1);
  }
}

TEST(TcpConnection, RefusesNamesBeyondAnyPacket) {
  const string name(40000, 'n');
  Server server([](Peer& peer) {
    peer.Welcome();
    EXPECT_EQ(peer.ReadPacket(), "X") << "nothing was asked for";
  });
  Connection client;
  ASSERT_EQ(client.Connect(server.Port()), 0);
  client.folder.Write("work/a", "a");
  EXPECT_EQ(client.Get(name, "a"), TVL_ERR_SERVER_FILE);
  EXPECT_EQ(client.Get("a", name), TVL_ERR_LOCAL_FILE);
  EXPECT_EQ(client.Put(name, "a"), TVL_ERR_SERVER_FILE);
  EXPECT_EQ(client.Put("a", name), TVL_ERR_LOCAL_FILE);
  EXPECT_EQ(client.LockState(name), -TVL_ERR_TCP_SEND);
  EXPECT_EQ(client.IsOpened(), 1);
}

TEST(TcpConnection, AnswersOnlyWhatIsAsked) {
  Server server([](Peer& peer) {
    peer.Welcome();
    EXPECT_EQ(peer.ReadPacket(), "LA");
    peer.Send(Reply("2\tpc\t3\t4\tip\tuser"));
    peer.ReadRest();
  });
  Connection client;
  ASSERT_EQ(client.Connect(server.Port()), 0);
  EXPECT_EQ(client.Lock(Arg("A"), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
}

TEST(TcpConnection, OpensAgain) {
  const auto part = [](const char* state) {
    return [state](Peer& peer) {
      peer.Welcome();
      EXPECT_EQ(peer.ReadPacket(), "LA");
      peer.Send(Reply(state));
      EXPECT_EQ(peer.ReadPacket(), "X");
      EXPECT_TRUE(peer.AtEnd());
    };
  };
  Server first(part("1"));
  Server second(part("2"));
  Connection client;
  ASSERT_EQ(client.Connect(first.Port()), 0);
  EXPECT_EQ(client.LockState("A"), 1);
  ASSERT_EQ(client.Connect(second.Port()), 0) << "ends the first connection";
  first.Join();
  EXPECT_EQ(client.LockState("A"), 2);
  EXPECT_EQ(client.Close(), 0);
  EXPECT_EQ(client.Connect(first.Port(), "nowhere.test"), TVL_ERR_TCP_CONNECT);
  EXPECT_EQ(client.LockState("A"), -TVL_ERR_NOT_CONNECTED);
}

}  // namespace
