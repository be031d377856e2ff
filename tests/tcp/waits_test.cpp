#include <gtest/gtest.h>
#include <sys/resource.h>
#include <time.h>

#include <chrono>
#include <functional>
#include <future>
#include <string>
#include <thread>

#include "base/pump.h"
#include "platform/message_queue.h"
#include "tcp/connection.h"
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

// Calls a function in every pump of this thread, as long as it lives.
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

bool IsReady(std::future<void> future) {
  return future.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
}

TEST(Waits, SleepWhileTheServerWorks) {
  for (const bool with_hook : {false, true}) {
    int hook_calls = 0;
    std::unique_ptr<Hook> hook;
    if (with_hook) hook = std::make_unique<Hook>([&] { ++hook_calls; });
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
    EXPECT_LT(UsedMilliseconds() - before, 60) << (with_hook ? "with a hook" : "without a hook");
    if (with_hook) {
      EXPECT_GE(hook_calls, 10) << "the hook's turn comes again and again";
    }
  }
}

TEST(Waits, RunTheHook) {
  std::promise<void> fifth_call;
  Server server([&](Peer& peer) {
    peer.Welcome();
    peer.ReadPacket();
    EXPECT_TRUE(IsReady(fifth_call.get_future()));
    peer.Send(Reply("1"));
    peer.ReadRest();
  });
  Connection client;
  ASSERT_EQ(client.Connect(server.Port()), 0);
  int calls = 0;
  const Hook hook([&] {
    if (++calls == 5) fifth_call.set_value();
  });
  EXPECT_EQ(client.LockState("A"), 1);
}

// Another connection may be used meanwhile, even one that waits itself.
TEST(Waits, LetTheHookUseAnotherConnection) {
  const auto answer = [](const char* state) {
    return [state](Peer& peer) {
      peer.Welcome();
      peer.ReadPacket();
      peer.Send(Reply(state));
      peer.ReadRest();
    };
  };
  std::promise<void> inner_done;
  Server outer_server([&](Peer& peer) {
    peer.Welcome();
    peer.ReadPacket();
    EXPECT_TRUE(IsReady(inner_done.get_future()));
    peer.SendByteByByte(Reply("2"));
    peer.ReadRest();
  });
  Server inner_server(answer("3"));
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
    inner_done.set_value();
  });
  EXPECT_EQ(outer.LockState("A"), 2);
  EXPECT_EQ(inner_state, 3);
}

std::promise<UINT>* message_handled = nullptr;

// Nothing else wakes this wait than the message, which another thread posts.
TEST(Waits, HandleMessagesOfOtherThreads) {
  std::promise<UINT> handled;
  message_handled = &handled;
  tvl::SetMessageHandler([](const MSG& message) { message_handled->set_value(message.message); });
  const DWORD client_thread = GetCurrentThreadId();
  Server server([&](Peer& peer) {
    peer.Welcome();
    peer.ReadPacket();
    WorkForMilliseconds(20);  // so that the client sleeps
    EXPECT_EQ(PostThreadMessageA(client_thread, 77, 0, 0), 1);
    std::future<UINT> future = handled.get_future();
    const bool ready = future.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
    EXPECT_TRUE(ready);
    if (ready) {
      EXPECT_EQ(future.get(), 77U);
    }
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
