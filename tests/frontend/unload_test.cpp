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

class Unload : public testing::Test {
 protected:
  Unload() {
    folder_.Make("root");
    folder_.Write("store.ini", "[TavolisFileSystem]\nDocumentRoot=" + folder_.Host("root") +
                                   "\nTmpDir=" + folder_.Host("tmp") + "\n");
  }

  std::size_t Markers() const { return folder_.Tree("tmp/procs").size(); }

  TempFolder folder_;
};

TEST_F(Unload, ClosesALeftOverConnection) {
  for (const char* way : {"return", "exit", "thread"}) {
    HelperProcess process({"leave", folder_.Logical("store.ini"), way});
    ASSERT_EQ(process.Hear(), "connected");
    EXPECT_EQ(Markers(), 1U) << way;
    process.Say("go on");
    EXPECT_EQ(process.Wait(), 0) << way;
    EXPECT_EQ(Markers(), 0U) << way;
  }
}

TEST_F(Unload, OfAForkedChildLeavesItsParentPresent) {
  HelperProcess process({"leave", folder_.Logical("store.ini"), "fork"});
  ASSERT_EQ(process.Hear(), "connected");
  process.Say("fork");
  EXPECT_EQ(process.Hear(), "child ended");
  EXPECT_EQ(Markers(), 1U);
  process.Say("end");
  EXPECT_EQ(process.Wait(), 0);
  EXPECT_EQ(Markers(), 0U);
}

}  // namespace
