#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "e2e/tvl_runner.h"

namespace {

namespace fs = std::filesystem;

TEST_F(TvlTest, AHeldLockIsRefusedUntilItsHolderDies) {
  Process holder(Start({"lock", "ORD1", "--", "sh", "-c", "echo $$ > running; echo held; exec sleep 1000"}));
  ASSERT_TRUE(holder.AwaitOutput());
  ExpectAll({{4, {"lock", "ORD1", "--", "touch", "ran"}, {"held by "}},
             {4, {"unlock", "ORD1"}},
             {0, {"locks", "ORD*"}, {"ORD1    alive"}},
             {0, {"who", "tvlc"}, {"tvlc"}}});
  EXPECT_FALSE(folder.Exists("work/ran"));
  EXPECT_EQ(Expect(0, {"locks", "X*"}).out, "");
  ExpectJson(0, {"locks"}, {"\"ORD1\""});

  const pid_t under_it = std::stoi(folder.Read("work/running"));
  holder.Signal(SIGKILL);
  holder.Finish();
  Expect(0, {"lock", "-w", "30", "ORD1", "--", "touch", "ran"});
  EXPECT_TRUE(folder.Exists("work/ran"));
  EXPECT_TRUE(kill(under_it, 0) != 0 || !fs::exists("/proc/" + std::to_string(under_it) + "/exe"))
      << "a command outlived its lock";
}

TEST_F(TvlTest, ExitCodesAndSignalsPassThroughALock) {
  ExpectAll({{7, {"lock", "A", "--", "sh", "-c", "exit 7"}},
             {143, {"lock", "A", "--", "sh", "-c", "kill -TERM $$"}},
             {127, {"lock", "A", "--", "/nonexistent"}}});
  Process holder(
      Start({"lock", "A", "--", "sh", "-c", "trap 'exit 3' TERM; echo held; while :; do sleep 0.05; done"}));
  ASSERT_TRUE(holder.AwaitOutput());
  holder.Signal(SIGTERM);
  EXPECT_EQ(holder.Finish().exit, 3);
  ExpectJson(0, {"lock", "A"}, {"\"state\":1"});  // until the end of its input
  EXPECT_EQ(Expect(0, {"locks"}).out, "");
}

TEST_F(TvlTest, WhatKeepsALockFromCountingIsSaid) {
  const std::string table = "store/tmp/locks/dtlocks.dat";
  fs::rename(folder.Host(table), folder.Host("table"));
  ExpectAll({{2, {"lock", std::string(33, 'x')}},
             {5, {"lock", "A", "--", "touch", "ran"}, {table}},
             {5, {"locks"}, {table}}});
  fs::rename(folder.Host("table"), folder.Host(table));
  fs::remove_all(folder.Host("store/tmp/procs"));
  folder.Write("store/tmp/procs", "a file in the folder's place");
  Expect(5, {"lock", "A", "--", "touch", "ran"}, {"store/tmp/procs"});
  EXPECT_FALSE(folder.Exists("work/ran"));
}

}  // namespace
