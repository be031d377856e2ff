#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <tvlclient/tvlclient.h>

#include "support/arg.h"
#include "support/helper_process.h"
#include "support/temp_folder.h"

namespace {

using std::string;

// Connects, tells so, and ends in the way that the test names, without closing. Under a sanitizer whatever is
// leaked, or used behind its end, changes the exit code.
int LeaveConnected(const std::vector<string>& arguments) {
  const string& way = arguments.at(1);
  if (TVLConnect2Dir(Arg(""), Arg(arguments.at(0)), Arg("test")) != 0) return 1;
  int state = 0;
  TVLLockObject(Arg("x"), &state, nullptr, nullptr, nullptr, nullptr, nullptr);
  Tell("connected");
  Listen();
  if (way == "exit") std::exit(0);
  if (way == "thread") std::thread([] { std::exit(0); }).join();
  if (way == "fork") {
    // The child's end must not end its parent's presence.
    const pid_t child = fork();
    if (child == 0) std::exit(0);
    int status = 0;
    waitpid(child, &status, 0);
    Tell(status == 0 ? "child ended" : "child failed");
    Listen();
  }
  return 0;
}

const Role leave("leave", LeaveConnected);

TEST(Unload, ClosesALeftOverConnectionOfThisProcessOnly) {
  const TempFolder folder;
  folder.Make("root");
  folder.Write("store.ini", "[TavolisFileSystem]\nDocumentRoot=" + folder.Host("root") +
                                "\nTmpDir=" + folder.Host("tmp") + "\n");
  for (const string way : {"return", "exit", "thread", "fork"}) {
    HelperProcess process({"leave", folder.Logical("store.ini"), way});
    ASSERT_EQ(process.Hear(), "connected");
    EXPECT_EQ(folder.Tree("tmp/procs").size(), 1U) << way;
    process.Say("go on");
    if (way == "fork") {
      EXPECT_EQ(process.Hear(), "child ended");
      EXPECT_EQ(folder.Tree("tmp/procs").size(), 1U);
      process.Say("end");
    }
    EXPECT_EQ(process.Wait(), 0) << way;
    EXPECT_EQ(folder.Tree("tmp/procs").size(), 0U) << way;
  }
}

}  // namespace
