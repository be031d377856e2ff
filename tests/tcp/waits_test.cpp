#include <gtest/gtest.h>
#include <sys/resource.h>
#include <time.h>

#include <chrono>
#include <string>
#include <thread>

#include "platform/message_queue.h"
#include "tcp/connection.h"
#include "tcp/hook.h"
#include "tcp/peer.h"
#include "tcp/script.h"

namespace {

// Work of this thread for a while, by the processor time that it has used itself.
void WorkForMilliseconds(long milliseconds) {
  const auto used = [] {
    timespec now = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec * 1000 + now.tv_nsec / 1'000'000;
  };
  const long begin = used();
  while (used() - begin < milliseconds) {
  }
}

double UsedMilliseconds() {
  rusage usage = {};
  getrusage(RUSAGE_THREAD, &usage);
  const auto milliseconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1000 + static_cast<double>(time.tv_usec) / 1000;
  };
  return milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime);
}

// The server of one client, which answers its one question, when it has been told to.
Server::Part Answers(const char* state, Sign* told = nullptr) {
  return [=](Peer& peer) {
    peer.Welcome();
    peer.ReadPacket();
    if (told != nullptr) {
      EXPECT_TRUE(told->Await());
    }
    peer.SendByteByByte(Reply(state));
    peer.ReadRest();
  };
}

TEST(Waits, SleepWhileTheServerWorks) {
  Server server([](Peer& peer) {
    peer.Welcome();
    peer.ReadPacket();
    WorkForMilliseconds(400);
    peer.Send(Reply("3"));
    peer.ReadRest();
  });
  Connection client;
  ASSERT_EQ(client.Connect(server.Port()), 0);
  const double before = UsedMilliseconds();
  EXPECT_EQ(client.LockState("A"), 3);
  EXPECT_LT(UsedMilliseconds() - before, 60);
}

// An answer is waited for as long as it takes, and the hook's turn comes again and again.
TEST(Waits, OutlastTwoSecondsAndServeTheHook) {
  using Clock = std::chrono::steady_clock;
  Sign late;
  Server server(Answers("3", &late));
  Connection client;
  ASSERT_EQ(client.Connect(server.Port()), 0);
  const double before = UsedMilliseconds();
  const Clock::time_point begin = Clock::now();
  int calls = 0;
  const Hook hook([&] {
    ++calls;
    if (Clock::now() - begin > std::chrono::milliseconds(2500)) late.Give();
  });
  EXPECT_EQ(client.LockState("A"), 3);
  EXPECT_LT(UsedMilliseconds() - before, 400) << "it sleeps between two turns";
  EXPECT_GE(calls, 20);
}

// Another connection may be used meanwhile, even one that waits itself.
TEST(Waits, LetTheHookUseAnotherConnection) {
  Sign inner_done;
  Server outer_server(Answers("2", &inner_done));
  Server inner_server(Answers("3"));
  Connection outer;
  Connection inner;
  ASSERT_EQ(outer.Connect(outer_server.Port()), 0);
  ASSERT_EQ(inner.Connect(inner_server.Port()), 0);
  int inner_state = 0;
  bool within = false;
  const Hook hook([&] {
    if (within || inner_state != 0) return;
    within = true;
    inner_state = inner.LockState("B");
    inner_done.Give();
  });
  EXPECT_EQ(outer.LockState("A"), 2);
  EXPECT_EQ(inner_state, 3);
}

Sign* message_handled = nullptr;

// Nothing else wakes this wait than the message, which another thread posts.
TEST(Waits, HandleMessagesOfOtherThreads) {
  Sign handled;
  message_handled = &handled;
  tvl::SetMessageHandler([](const MSG& message) {
    if (message.message == 77) message_handled->Give();
  });
  const DWORD client_thread = GetCurrentThreadId();
  Server server([&](Peer& peer) {
    peer.Welcome();
    peer.ReadPacket();
    WorkForMilliseconds(20);  // so that the client sleeps
    EXPECT_EQ(PostThreadMessageA(client_thread, 77, 0, 0), 1);
    EXPECT_TRUE(handled.Await());
    peer.Send(Reply("1"));
    peer.ReadRest();
  });
  Connection client;
  ASSERT_EQ(client.Connect(server.Port()), 0);
  EXPECT_EQ(client.LockState("A"), 1);
  tvl::SetMessageHandler(nullptr);
}

TEST(Waits, ServeTheThreadThatUsesTheConnection) {
  Server server([](Peer& peer) {
    peer.Welcome();
    for (const char* state : {"1", "2", "3"}) {
      peer.ReadPacket();
      peer.Send(Reply(state));
    }
    peer.ReadRest();
  });
  Connection client;
  std::thread([&] { ASSERT_EQ(client.Connect(server.Port()), 0); }).join();
  EXPECT_EQ(client.LockState("A"), 1);
  std::thread([&] { EXPECT_EQ(client.LockState("A"), 2); }).join();
  EXPECT_EQ(client.LockState("A"), 3);
}

}  // namespace
