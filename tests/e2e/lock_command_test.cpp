#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "e2e/json_checker.h"
#include "e2e/tvl_runner.h"

namespace {

namespace fs = std::filesystem;

bool Holds(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

class LockTest : public TvlTest {
 protected:
  // A tvl that holds the lock on `object` by now, and says the number of the process that runs under it.
  [[nodiscard]] std::vector<std::string> Holding(const std::string& object) const {
    return {"lock", object, "--",
            "sh",   "-c",   "echo $$ > running.new; mv running.new running; echo held; exec sleep 1000"};
  }

  [[nodiscard]] pid_t RunningUnderIt() const { return std::stoi(folder.Read("work/running")); }
};

TEST_F(LockTest, AHeldLockIsRefusedUntilItsHolderDies) {
  Process holder(Start(Holding("ORD1")));
  ASSERT_TRUE(holder.AwaitOutput());
  const ProcessResult refused = Expect(4, {"lock", "ORD1", "--", "touch", "ran"});
  EXPECT_TRUE(Holds(refused.err, "held by ")) << refused.err;
  EXPECT_FALSE(folder.Exists("work/ran"));
  Expect(4, {"unlock", "ORD1"});
  EXPECT_TRUE(Holds(Expect(0, {"locks", "ORD*"}).out, "ORD1    alive"));
  EXPECT_TRUE(Expect(0, {"locks", "X*"}).out.empty());
  EXPECT_TRUE(Holds(Expect(0, {"who", "tvlc"}).out, "tvlc"));
  const std::string json = Expect(0, {"--json", "locks"}).out;
  EXPECT_TRUE(AreJsonLines(json)) << json;

  const pid_t under_it = RunningUnderIt();
  holder.Signal(SIGKILL);
  holder.Finish();
  Expect(0, {"lock", "-w", "30", "ORD1", "--", "touch", "ran"});
  EXPECT_TRUE(folder.Exists("work/ran"));
  EXPECT_TRUE(kill(under_it, 0) != 0 || !fs::exists("/proc/" + std::to_string(under_it) + "/exe"))
      << "a command outlived its lock";
}

TEST_F(LockTest, ExitCodesAndSignalsPass) {
  Expect(7, {"lock", "A", "--", "sh", "-c", "exit 7"});
  Expect(143, {"lock", "A", "--", "sh", "-c", "kill -TERM $$"});
  Expect(127, {"lock", "A", "--", "/nonexistent"});
  Process holder(
      Start({"lock", "A", "--", "sh", "-c", "trap 'exit 3' TERM; echo held; while :; do sleep 0.05; done"}));
  ASSERT_TRUE(holder.AwaitOutput());
  holder.Signal(SIGTERM);
  EXPECT_EQ(holder.Finish().exit, 3);
  EXPECT_TRUE(Expect(0, {"locks"}).out.empty());
}

TEST_F(LockTest, WithoutACommandTheLockLastsAsLongAsTheInput) {
  const ProcessResult result = Expect(0, {"--json", "lock", "A"});
  EXPECT_TRUE(AreJsonLines(result.out)) << result.out;
  EXPECT_TRUE(Holds(result.out, "\"state\":1")) << result.out;
  EXPECT_TRUE(Expect(0, {"locks"}).out.empty());
}

TEST_F(LockTest, WhatKeepsALockFromCountingIsSaid) {
  Expect(2, {"lock", std::string(33, 'x')});
  fs::rename(folder.Host("store/tmp/locks/dtlocks.dat"), folder.Host("table"));
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"lock", "A", "--", "touch", "ran"}, {"locks"}}) {
    EXPECT_TRUE(Holds(Expect(5, command).err, "store/tmp/locks/dtlocks.dat"));
  }
  fs::rename(folder.Host("table"), folder.Host("store/tmp/locks/dtlocks.dat"));
  fs::remove_all(folder.Host("store/tmp/procs"));
  folder.Write("store/tmp/procs", "a file in the folder's place");
  EXPECT_TRUE(Holds(Expect(5, {"lock", "A", "--", "touch", "ran"}).err, "store/tmp/procs"));
  EXPECT_FALSE(folder.Exists("work/ran"));
}

}  // namespace
