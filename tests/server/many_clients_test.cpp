#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>

#include "server/raw_client.h"
#include "server/server_process.h"
#include "server/threads.h"

namespace {

using std::string;

TEST(ManyClients, TwoHundredAtOnceGetWhatIsTheirs) {
  constexpr int kClients = 200;
  const ServedStore store;
  const ServerProcess server(store);
  std::atomic<int> right{0};
  std::atomic<int> owners{0};
  InThreads(kClients, [&](int i) {
    const RawClient client =
        RawClient::Entered(server.Port(), {"mgrx", "pc" + std::to_string(i % 7), "ann", ""});
    const string name = "folder" + std::to_string(i % 10) + "/" + std::to_string(i);
    const string bytes(1000 * static_cast<std::size_t>(i) + 1, static_cast<char>(i));
    const bool stored = client.Put(name, bytes) == 0;
    const bool fetched = client.Get(name).bytes == bytes;
    const bool locked = client.Ask("L" + name).starts_with("1\t");
    if (client.Ask("Lshared").starts_with("1\t")) ++owners;
    const bool unlocked = client.Ask("l" + name) == "0";
    const bool replaced = client.Put("contended", bytes) == 0;
    client.Leave();
    if (stored && fetched && locked && unlocked && replaced) ++right;
  });
  EXPECT_EQ(right, kClients);
  EXPECT_GE(owners, 1);
  const string contended = store.Read("contended");
  EXPECT_EQ(contended, string(contended.size(), contended[0]));
  EXPECT_EQ(store.Files().size(), kClients + 10U + 1U);
  EXPECT_TRUE(store.store.Markers().empty());
}

TEST(ManyClients, SlowOnesDelayNobody) {
  const ServedStore store;
  store.Write("big", "");
  std::filesystem::resize_file(store.Path("big"), 100'000'000);
  store.Write("small", "small");
  const ServerProcess server(store);
  std::vector<RawClient> slow;
  for (int i = 0; i < 20; ++i) {
    slow.push_back(RawClient::Entered(server.Port()));
    slow.back().AskAheadFor("big");
  }
  for (int i = 0; i < 20; ++i) {
    RawClient client(server.Port());
    client.Send("#");  // and some that don't even say who they are
    slow.push_back(std::move(client));
  }
  const RawClient client = RawClient::Entered(server.Port());
  const auto began = std::chrono::steady_clock::now();
  for (int i = 0; i < 100; ++i) {
    ASSERT_EQ(client.Get("small").bytes, "small");
    ASSERT_TRUE(client.Ask("LORD1").starts_with("1\t"));
    ASSERT_EQ(client.Ask("lORD1"), "0");
  }
  // The first of the slow ones would be given up behind a minute.
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(30));
}

}  // namespace
