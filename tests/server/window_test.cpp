#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include <tvlclient/tvl.h>

#include "server/server_process.h"
#include "support/faults.h"
#include "tcp/connection.h"

// Transfers with a window, by the library's client as far as it goes.

namespace {

using std::string;

constexpr std::size_t kGetChunk = 40895;

// Bytes that differ from place to place, so that a chunk in the wrong one is noticed.
string Numbers(std::size_t size) {
  string bytes;
  for (std::size_t i = 0; bytes.size() < size; ++i) bytes += std::to_string(i) + " ";
  bytes.resize(size);
  return bytes;
}

class Window : public testing::Test {
 protected:
  Window() { TVLSetTransferWindow(8); }
  ~Window() override { TVLSetTransferWindow(0); }
};

TEST_F(Window, TransfersFilesOfEverySize) {
  for (const bool zip : {false, true}) {
    const ServedStore store(zip);
    const ServerProcess server(store);
    Connection client;
    ASSERT_EQ(client.Connect(server.Port()), TVL_OK);
    for (const std::size_t size : {0, 1, 32760, 40895, 294840, 368055, 368056, 3000000}) {
      SCOPED_TRACE(size);
      const string bytes = Numbers(size);
      client.folder.Write("work/f", bytes);
      client.transferred = 1;
      ASSERT_EQ(client.Put("f", "f"), TVL_OK);
      EXPECT_TRUE(store.Read("f") == bytes);
      ASSERT_EQ(client.Get("f", "g"), TVL_OK);
      EXPECT_TRUE(client.folder.Read("work/g") == bytes);
    }
  }
}

// Both sides agree on where the exchange ends, wherever it fails, and half a file passes for a whole one on
// neither.
TEST_F(Window, LocalFaultsReturnCode) {
  const string bytes = Numbers(500000);
  for (const bool zip : {false, true}) {
    const ServedStore store(zip);
    store.Write("whole", bytes);
    const ServerProcess server(store);
    Connection client;
    ASSERT_EQ(client.Connect(server.Port()), TVL_OK);
    for (const bool put : {true, false}) {
      std::set<int> codes;
      bool struck = true;
      for (int at = 1; struck; ++at) {
        SCOPED_TRACE((put ? "put, call " : "get, call ") + std::to_string(at));
        store.Write("f", "old");
        client.folder.Write("work/f", put ? bytes : "old");
        client.transferred = 7;
        int code = 0;
        {
          const Faults faults(at, ENOSPC);
          code = put ? client.Put("f", "f") : client.Get("whole", "f");
          struck = Faults::Hit() != nullptr;
        }
        codes.insert(code);
        ASSERT_EQ(client.LockState("A"), 1);
        const string landed = put ? store.Read("f") : client.folder.Read("work/f");
        EXPECT_EQ(client.transferred, code == TVL_OK ? 1 : 7);
        if (code == TVL_OK) {
          EXPECT_TRUE(landed == bytes);
        } else if (put) {
          EXPECT_EQ(landed, "old");
        }
      }
      std::set<int> expected = {TVL_OK, TVL_ERR_LOCAL_FILE};
      if (zip && !put) expected.insert(TVL_ERR_UNZIP);
      EXPECT_EQ(codes, expected);
    }
  }
}

TEST_F(Window, ARefusalInTheMiddleLeavesTheConnectionInOrder) {
  const ServedStore store;
  const ServerProcess server(store, {"--max-file", "100000"});
  Connection client;
  ASSERT_EQ(client.Connect(server.Port()), TVL_OK);
  for (const std::size_t size : {100001, 131040, 400000, 3000000}) {
    SCOPED_TRACE(size);
    client.folder.Write("work/f", Numbers(size));
    client.transferred = 1;
    EXPECT_EQ(client.Put("f", "f"), TVL_ERR_COPY);
    EXPECT_TRUE(store.Files().empty());
    EXPECT_EQ(client.LockState("A"), 1);
  }
}

TEST_F(Window, TheServerSendsNoMoreThanItAllows) {
  const ServedStore store;
  store.Write("f", Numbers(20 * kGetChunk));
  const ServerProcess server(store);
  for (const unsigned int window : {0U, 3U, 8U}) {
    const RawClient client = server.Enter({.window = "window=" + std::to_string(window)});
    client.SendPacket("Gf\t@");
    for (unsigned int chunk = 0; chunk <= window; ++chunk) EXPECT_GE(client.Receive().size(), kGetChunk);
    client.CloseWriting();
    EXPECT_TRUE(client.IsEnded()) << window;
  }
}

TEST_F(Window, ShrinkingFileIsNotSentAsComplete) {
  const ServedStore store;
  store.Write("f", Numbers(20 * kGetChunk));
  const ServerProcess server(store);
  const RawClient client = server.Enter({.window = "window=3"});
  EXPECT_EQ(client.Ask("Gf\t@")[0], '0');
  std::filesystem::resize_file(store.Path("f"), kGetChunk / 2);
  const auto go_on = [&] {
    for (int chunk = 1; chunk < 20; ++chunk) EXPECT_GE(client.Ask("0").size(), kGetChunk);
  };
  EXPECT_THROW(go_on(), std::runtime_error);
}

}  // namespace
