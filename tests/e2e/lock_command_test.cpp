#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "e2e/tvl_runner.h"
#include "support/mounted_folder.h"

namespace {

namespace fs = std::filesystem;

TEST_F(TvlTest, HeldLockIsRefusedUntilOwnerDies) {
  Process holder(Start({"lock", "ORD1", "--", "sh", "-c", "echo $$ > running; echo held; exec sleep 1000"}));
  ASSERT_TRUE(holder.AwaitOutput());
  ExpectAll({{4, {"lock", "ORD1", "--", "touch", "ran"}, {"held by "}},
             {77, {"lock", "-E", "77", "ORD1", "--", "touch", "ran"}, {"held by "}},
             {2, {"lock", "-E", "256", "ORD1"}, {"256"}},
             {4, {"unlock", "ORD1"}},
             {0, {"locks", "ORD*"}, {"ORD1    alive"}},
             {0, {"who", "tvlc"}, {"tvlc"}}});
  EXPECT_FALSE(folder.Exists("work/ran"));
  const ProcessResult none = Expect(0, {"locks", "X*"});
  EXPECT_EQ(none.out + none.err, "tvl: locks: no lock matches 'X*'\n");
  ExpectJson(0, {"locks"}, {"\"ORD1\""});

  const pid_t under_it = std::stoi(folder.Read("work/running"));
  Process waiting(Start({"lock", "-w", "60", "ORD1", "--", "touch", "ran"}));
  EXPECT_TRUE(waiting.ReadErrorsUntil("tvl: lock ORD1: waiting for "));
  holder.Signal(SIGKILL);
  holder.Finish();
  EXPECT_EQ(waiting.Finish().exit, 0);
  EXPECT_TRUE(folder.Exists("work/ran"));
  EXPECT_TRUE(kill(under_it, 0) != 0 || !fs::exists("/proc/" + std::to_string(under_it) + "/exe"))
      << "a command outlived its lock";
}

TEST_F(TvlTest, LockPassesOnExitCodesAndSignals) {
  ExpectAll({{7, {"lock", "A", "--", "sh", "-c", "exit 7"}},
             {143, {"lock", "A", "--", "sh", "-c", "kill -TERM $$"}},
             {127, {"lock", "A", "--", "/nonexistent"}, {"/nonexistent: cannot be run: No such file"}},
             {126, {"lock", "A", "--", "/etc/passwd"}, {"/etc/passwd: cannot be run: Permission denied"}}});
  Process holder(
      Start({"lock", "A", "--", "sh", "-c", "trap 'exit 3' TERM; echo held; while :; do sleep 0.05; done"}));
  ASSERT_TRUE(holder.AwaitOutput());
  holder.Signal(SIGTERM);
  EXPECT_EQ(holder.Finish().exit, 3);
  ExpectJson(0, {"lock", "A"}, {"\"state\":1"});  // until the end of its input
  EXPECT_EQ(Expect(0, {"locks"}).err, "tvl: locks: there are no locks\n");
  EXPECT_EQ(Expect(0, {"who"}).err, "tvl: who: no other client is connected\n");
  EXPECT_EQ(Expect(0, {"-q", "who"}).err, "");
}

// Control characters of both sets and of the direction of writing; a wide character takes two columns.
TEST_F(TvlTest, NamesCannotControlTheTerminal) {
  const std::string hostile = "a\x1B\xC2\x9B\xE2\x80\xAE\x9B|\xC3\xA9";
  const std::string wide = "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\xE6\x97\xA5";
  ProcessStart start = Start({"lock", hostile, "--", TVL_PROGRAM, "lock", wide, "--", TVL_PROGRAM, "locks"});
  EXPECT_NE(RunProcess(start).out.find("a????|\xC3\xA9   alive"), std::string::npos);
  EXPECT_NE(RunProcess(start).out.find(wide + "  alive"), std::string::npos);
  start.command.push_back("--json");
  EXPECT_NE(RunProcess(start).out.find(R"(\u001b\u009b\u202e)"), std::string::npos);
}

// Like a background job of a shell, whose user presses Ctrl-C for another program.
TEST_F(TvlTest, IgnoredSignalStaysIgnored) {
  const std::string input = folder.Host("input");
  ASSERT_EQ(mkfifo(input.c_str(), 0600), 0);
  const int writer = open(input.c_str(), O_RDWR | O_CLOEXEC);
  ProcessStart start = Start({"lock", "A"});
  const Words shell = {"/bin/sh", "-c", "trap '' INT; exec \"$@\" < " + input, "sh"};
  start.command.insert(start.command.begin(), shell.begin(), shell.end());
  Process holder(start);
  ASSERT_TRUE(holder.AwaitOutput());
  holder.Signal(SIGINT);
  close(writer);
  EXPECT_EQ(holder.Finish().exit, 0);
}

TEST_F(TvlTest, ReportsWhyLockWouldBeIgnored) {
  const std::string table = "store/tmp/locks/dtlocks.dat";
  for (const char* bad : {"a/bc", "a\\bc", "a*", "\xC3\xA9t\xC3\xA9"})
    Expect(2, {"--class", bad, "info"}, {"--class"});
  ExpectAll({{0, {"--class", "a_ 1", "lock", "A", "--", "true"}},
             {2, {"lock", std::string(33, 'x')}},
             {5,
              {"lock", "A", "--", "mv", folder.Host(table), folder.Host("table")},
              {"the lock was lost", "the lock table cannot be used"}},
             {5, {"lock", "A", "--", "touch", "ran"}, {table}},
             {5, {"unlock", "A"}, {table}},
             {5, {"locks"}, {table}}});
  fs::rename(folder.Host("table"), folder.Host(table));
  fs::remove_all(folder.Host("store/tmp/procs"));
  folder.Write("store/tmp/procs", "a file in the folder's place");
  Expect(5, {"lock", "A", "--", "touch", "ran"}, {"store/tmp/procs"});
  EXPECT_FALSE(folder.Exists("work/ran"));
}

TEST_F(TvlTest, NoCommandRunsWithoutInodeForMarker) {
  const MountedFolder small(folder.Host("small"), "size=1m,nr_inodes=16");
  if (!small.IsMounted()) GTEST_SKIP() << "needs the right to mount";
  const std::string config = small.Path() + "/store/tvl.ini";
  Expect(0, {"init", small.Path() + "/store"});
  int files = 0;
  while (std::ofstream(small.Path() + "/" + std::to_string(files)).is_open()) ++files;
  Expect(5, {"--config", config, "lock", "A", "--", "touch", "ran"}, {"no presence marker"});
  EXPECT_FALSE(folder.Exists("work/ran"));
}

TEST_F(TvlTest, LostLockEndsCommand) {
  const std::string procs = folder.Host("store/tmp/procs");
  const auto remove_marker = [&] { fs::remove(fs::directory_iterator(procs)->path()); };
  const auto rename_folder = [&] { fs::rename(procs, folder.Host("procs")); };
  const std::string obeys = "trap 'echo ended; exit 0' TERM; echo held; while :; do sleep 0.05; done";
  const struct {
    Words command;
    std::function<void()> lose;
    const char* said;
  } rows[] = {{{"--", "sh", "-c", obeys}, remove_marker, "held\nended\n"},
              {{"--", "sh", "-c", "trap '' TERM; echo held; exec sleep 1000"}, remove_marker, "held\n"},
              {{"--", "sh", "-c", obeys}, rename_folder, "held\nended\n"}};
  for (const auto& row : rows) {
    const bool takes_ten_seconds = row.said == std::string("held\n");
    if (takes_ten_seconds && std::getenv("TVL_TEST_LARGE") == nullptr) continue;
    Words words = {"--json", "lock", "A"};  // standard output still belongs to the command
    words.insert(words.end(), row.command.begin(), row.command.end());
    Process holder(Start(words));
    ASSERT_TRUE(holder.AwaitOutput());
    row.lose();
    EXPECT_TRUE(
        holder.ReadErrorsUntil("tvl: lock A: the lock was lost: this client's presence marker was removed"));
    const ProcessResult result = holder.Finish();
    EXPECT_EQ(result.exit, 5) << result.err;
    EXPECT_EQ(result.out, row.said);
  }
}

}  // namespace
