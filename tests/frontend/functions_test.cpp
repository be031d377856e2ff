#include <tvlclient/tvlclient.h>

#include "frontend/module.h"
#include "support/testing.h"

namespace {

class FreeFunctions : public testing::Test {
 protected:
  FreeFunctions() {
    folder_.Write("root/f", "abc");
    folder_.Write("store.ini", "[TavolisFileSystem]\nDocumentRoot=" + folder_.Host("root") +
                                   "\nTmpDir=" + folder_.Host("tmp") + "\nShortName=" + string(300, 's') +
                                   "\nLongName=" + string(300, 'l'));
  }
  void TearDown() override { TVLCloseConnection(); }

  int Connect() {
    return TVLConnect2Dir(Arg(folder_.Logical("work")), Arg(folder_.Logical("store.ini")), Arg("test"));
  }

  // No server can have port 0.
  int ConnectToServer() {
    return TVLConnect2Tcp(Arg(folder_.Logical("work")), Arg(""), Arg("127.0.0.1"), 0, Arg("test"), Arg(""));
  }

  TempFolder folder_;
  int transferred_ = 7;
};

TEST_F(FreeFunctions, ReturnNothingWithoutConnection) {
  for (const auto ask : {TVLLockObject, TVLUnlockObject}) {
    int state = 7, instance = 7, pid = 7;
    char computer[64] = "old", address[16] = "old", user[65] = "old";
    EXPECT_EQ(ask(Arg("x"), &state, computer, &instance, &pid, address, user), 8);
    EXPECT_EQ((Codes{state, instance, pid, *computer, *address, *user}), Codes(6));
    EXPECT_EQ(ask(Arg("x"), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 8);
  }
  char name[256] = "old";
  EXPECT_EQ(
      (Codes{TVLConnectionInfos(name, name, &transferred_), TVLGetFile(Arg("f"), Arg("f"), &transferred_),
             TVLPutFile(Arg("f"), nullptr, &transferred_)}),
      Codes(3, 8));
  EXPECT_STREQ(name, "old");
  EXPECT_EQ(transferred_, 7);
  EXPECT_EQ((Codes{TVLIsPresent(), TVLHoldsLock("x")}), Codes(2));
  EXPECT_EQ(TVLCloseConnection(), 8);
}

TEST_F(FreeFunctions, AllowOneConnectionAtATime) {
  EXPECT_EQ(Connect(), 0);
  EXPECT_EQ(TVLIsPresent(), 1);
  const CTVLClientOpr* first = currentConnection;
  EXPECT_EQ(Connect(), 9);
  EXPECT_EQ(ConnectToServer(), 9);
  EXPECT_EQ(currentConnection, first);
  EXPECT_EQ(TVLGetFile(Arg("f"), nullptr, &transferred_), 0);
  EXPECT_EQ(transferred_, 1);
  EXPECT_EQ(TVLCloseConnection(), 0);
  EXPECT_EQ(TVLCloseConnection(), 8);
  EXPECT_EQ(Connect(), 0);
}

TEST_F(FreeFunctions, FailedConnectLeavesNoTrace) {
  folder_.Write("store.ini", "[Environments]\nDocumentRoot=/\n");
  EXPECT_EQ(Connect(), 5);
  EXPECT_EQ(currentConnection, nullptr);
  EXPECT_EQ(ConnectToServer(), 10);
  EXPECT_EQ(currentConnection, nullptr);
}

TEST_F(FreeFunctions, DescribeConnection) {
  ASSERT_EQ(Connect(), 0);
  char short_name[64];
  char long_name[256];
  int instance = -1;
  EXPECT_EQ(TVLConnectionInfos(short_name, long_name, &instance), 0);
  EXPECT_EQ(short_name, string(63, 's'));
  EXPECT_EQ(long_name, string(255, 'l'));
  EXPECT_EQ(instance, currentConnection->InstanceId());
  EXPECT_EQ(TVLConnectionInfos(nullptr, nullptr, nullptr), 0);
}

// The first name is that in the store in both directions; a missing second name means the same name.
TEST_F(FreeFunctions, MapNamesOfFile) {
  ASSERT_EQ(Connect(), 0);
  EXPECT_EQ(TVLGetFile(Arg("f"), Arg(""), &transferred_), 0);
  EXPECT_EQ(TVLGetFile(Arg("f"), Arg("sub/g"), &transferred_), 0);
  EXPECT_EQ(folder_.Read("work/f") + folder_.Read("work/sub/g"), "abcabc");
  folder_.Write("work/h", "put");
  EXPECT_EQ(TVLPutFile(Arg("h"), nullptr, &transferred_), 0);
  EXPECT_EQ(TVLPutFile(Arg("a/b"), Arg("h"), &transferred_), 0);
  EXPECT_EQ(folder_.Read("root/h") + folder_.Read("root/a/b"), "putput");
}

TEST_F(FreeFunctions, CallHookDuringCompression) {
  ASSERT_EQ(Connect(), 0);
  folder_.Write("root/large", string(100000, 'x'));
  int turns = 0;
  TVLSetPumpHook([](void* userData) { ++*static_cast<int*>(userData); }, &turns);
  EXPECT_EQ(TVLGetFile(Arg("large"), nullptr, &transferred_), 0);
  EXPECT_GT(turns, 2 * 100000 / 16384) << "around each piece that is read";
  TVLSetPumpHook(nullptr, nullptr);
}

TEST_F(FreeFunctions, ReportWhyFileFailed) {
  ASSERT_EQ(Connect(), 0);
  TVLLastFileError(nullptr, 0);
  EXPECT_EQ(TVLGetFile(Arg("none"), nullptr, &transferred_), 27);
  char path[300] = "old";
  EXPECT_EQ(TVLLastFileError(path, sizeof path), ENOENT);
  EXPECT_EQ(path, folder_.Logical("root/none"));
  EXPECT_EQ(TVLLastFileError(path, sizeof path), 0);
  EXPECT_STREQ(path, "");
  EXPECT_EQ(TVLGetFile(Arg("none"), nullptr, &transferred_), 27);
  char tiny[4] = {'#', '#', '#', '#'};
  EXPECT_EQ(TVLLastFileError(tiny, 3), ENOENT);
  EXPECT_EQ(std::strlen(tiny), 2U);
  EXPECT_EQ(tiny[3], '#');
}

}  // namespace
