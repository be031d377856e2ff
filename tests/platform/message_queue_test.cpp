#include "platform/message_queue.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

#include "base/pump.h"

namespace {

std::vector<UINT> handled;
int hook_calls = 0;

void Handle(const MSG& message) {
  handled.push_back(message.message);
  // A handler may post; the pump that runs takes that too.
  if (message.message == 1) PostThreadMessageA(GetCurrentThreadId(), 2, 0, 0);
}

bool Peek(MSG& message) {
  return PeekMessageA(&message, 0, 0, 0, PM_REMOVE) != 0;
}

class Queue : public testing::Test {
 protected:
  void SetUp() override {
    handled.clear();
    tvl::SetMessageHandler(Handle);
  }
  void TearDown() override { tvl::SetMessageHandler(nullptr); }
};

TEST_F(Queue, PumpDropsTheIdleMessageAndHandlesTheRest) {
  const DWORD self = GetCurrentThreadId();
  for (const UINT number : {0x36AU, 1U, 0x36BU, 0x36AU}) PostThreadMessageA(self, number, 0, 0);
  PumpMessages();
  EXPECT_EQ(handled, (std::vector<UINT>{1, 0x36B, 2}));
  MSG message = {};
  EXPECT_FALSE(Peek(message));
}

TEST_F(Queue, HookRunsOncePerPumpOnItsOwnThreadOnly) {
  hook_calls = 0;
  int sum = 5;
  tvl::SetPumpHook([](void* userData) { hook_calls += *static_cast<int*>(userData); }, &sum);
  PumpMessages();
  std::thread(PumpMessages).join();
  EXPECT_EQ(hook_calls, 5);
  tvl::SetPumpHook(nullptr, nullptr);
  PumpMessages();
  EXPECT_EQ(hook_calls, 5);
}

TEST_F(Queue, TakesFromManyThreadsWithoutLoss) {
  constexpr UINT kEach = 2000;
  const DWORD self = GetCurrentThreadId();
  std::vector<std::thread> posters;
  for (UINT poster = 0; poster < 3; ++poster) {
    posters.emplace_back([=] {
      for (UINT i = 0; i < kEach; ++i) PostThreadMessageA(self, 100 + poster, i, -LPARAM{i});
    });
  }
  std::vector<WPARAM> next(3, 0);
  for (UINT taken = 0; taken < 3 * kEach;) {
    MSG message = {};
    if (!Peek(message)) continue;
    ++taken;
    EXPECT_EQ(message.lParam, -static_cast<LPARAM>(message.wParam));
    EXPECT_EQ(message.wParam, next.at(message.message - 100)++);
  }
  for (std::thread& poster : posters) poster.join();
}

TEST_F(Queue, IsGoneWithItsThread) {
  DWORD thread = 0;
  std::thread([&] {
    MSG message = {};
    EXPECT_EQ(PostThreadMessageA(GetCurrentThreadId(), 1, 0, 0), 0) << "no queue before the first look";
    Peek(message);
    thread = GetCurrentThreadId();
    EXPECT_EQ(PostThreadMessageA(thread, 7, 0, 0), 1);
  }).join();
  EXPECT_EQ(PostThreadMessageA(thread, 1, 0, 0), 0);
}

// What another library does at the end of the thread, behind our own cleaning up, may pump too.
TEST_F(Queue, MayBeUsedWhileItsThreadEnds) {
  static pthread_key_t keys[2];
  static std::atomic<int> pumped = 0;
  const auto pump = [](void*) {
    PumpMessages();
    ++pumped;
  };
  pthread_key_create(&keys[0], pump);
  std::thread([&] {
    PumpMessages();
    pthread_key_create(&keys[1], pump);
    for (const pthread_key_t key : keys) pthread_setspecific(key, keys);
  }).join();
  EXPECT_EQ(pumped, 2);
  for (const pthread_key_t key : keys) pthread_key_delete(key);
}

TEST_F(Queue, OfAForkedChildIsItsOwn) {
  PostThreadMessageA(GetCurrentThreadId(), 9, 0, 0);
  const pid_t child = fork();
  if (child == 0) {
    MSG message = {};
    if (Peek(message)) _exit(1);  // the parent's
    if (PostThreadMessageA(GetCurrentThreadId(), 5, 0, 0) == 0) _exit(2);
    _exit(Peek(message) && message.message == 5 ? 0 : 3);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  MSG message = {};
  EXPECT_TRUE(Peek(message));
  EXPECT_EQ(message.message, 9U);
}

}  // namespace
