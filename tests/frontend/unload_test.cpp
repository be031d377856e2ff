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

// Connects, reports that, and ends in the requested way without closing. With a sanitizer, a leak or a use
// after free changes the exit code.
int LeaveConnected(const std::vector<string>& arguments) {
  const string& way = arguments.at(1);
  if (TVLConnect2Dir(Arg(""), Arg(arguments.at(0)), Arg("test")) != 0) return 1;
  int state = 0;
  TVLLockObject(Arg("x"), &state, nullptr, nullptr, nullptr, nullptr, nullptr);
  Say("connected");
  Listen();
  if (way == "exit") std::exit(0);
  if (way == "thread") std::thread([] { std::exit(0); }).join();
  if (way == "fork") {
    // The end of the child must not end the presence of its parent.
    const pid_t child = fork();
    if (child == 0) std::exit(0);
    int status = 0;
    waitpid(child, &status, 0);
    Say(status == 0 ? "child ended" : "child failed");
    Listen();
  }
  return 0;
}

const Role leave("leave", LeaveConnected);

TEST(LibraryUnload, ClosesOpenConnectionOfThisProcessOnly) {
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
