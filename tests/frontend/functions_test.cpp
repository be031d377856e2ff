#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include <tvlclient/tvlclient.h>

#include "frontend/module.h"
#include "support/arg.h"
#include "support/temp_folder.h"

namespace {

using std::string;

// A loopback port that refuses: taken by a socket that doesn't listen.
class DeafPort {
 public:
  DeafPort() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    EXPECT_EQ(bind(socket_, reinterpret_cast<sockaddr*>(&address), length), 0);
    EXPECT_EQ(getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &length), 0);
    number = ntohs(address.sin_port);
  }
  ~DeafPort() { close(socket_); }
  DeafPort(const DeafPort&) = delete;
  DeafPort& operator=(const DeafPort&) = delete;

  unsigned int number = 0;

 private:
  int socket_;
};

class Functions : public testing::Test {
 protected:
  Functions() {
    folder_.Write("root/f", "abc");
    Configure("");
  }
  void TearDown() override { TVLCloseConnection(); }

  void Configure(const string& settings) {
    folder_.Write("store.ini", "[TavolisFileSystem]\nDocumentRoot=" + folder_.Host("root") + "\nTmpDir=" +
                                   folder_.Host("tmp") + "\nShortName=S\nLongName=L\n" + settings);
  }

  int Connect() {
    return TVLConnect2Dir(Arg(folder_.Logical("work")), Arg(folder_.Logical("store.ini")), Arg("test"));
  }

  int ConnectToServer() {
    return TVLConnect2Tcp(Arg(folder_.Logical("work")), Arg(""), Arg("127.0.0.1"), port_.number, Arg("test"),
                          Arg(""));
  }

  TempFolder folder_;
  DeafPort port_;
};

// Outputs of a lock question, filled with what must not stay, in heap-like rooms of their full widths.
struct Outputs {
  int state = 7, instance = 7, pid = 7;
  char computer[64] = "old", address[16] = "old", user[65] = "old";

  bool AreClear() const { return state + instance + pid == 0 && *computer + *address + *user == 0; }
};

TEST_F(Functions, WithoutAConnection) {
  for (int (*ask)(char*, int*, char*, int*, int*, char*, char*) : {TVLLockObject, TVLUnlockObject}) {
    Outputs out;
    EXPECT_EQ(ask(Arg("x"), &out.state, out.computer, &out.instance, &out.pid, out.address, out.user), 8);
    EXPECT_TRUE(out.AreClear());
    EXPECT_EQ(ask(Arg("x"), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 8);
  }
  char name[256] = "old";
  int number = 7;
  EXPECT_EQ(TVLConnectionInfos(name, name, &number), 8);
  EXPECT_EQ(TVLGetFile(Arg("f"), Arg("f"), &number), 8);
  EXPECT_EQ(TVLPutFile(Arg("f"), nullptr, &number), 8);
  EXPECT_STREQ(name, "old");
  EXPECT_EQ(number, 7);
  EXPECT_EQ(TVLCloseConnection(), 8);
}

TEST_F(Functions, OneConnectionAtATime) {
  EXPECT_EQ(Connect(), 0);
  const CTVLClientOpr* first = currentConnection;
  EXPECT_EQ(Connect(), 9);
  EXPECT_EQ(ConnectToServer(), 9);
  EXPECT_EQ(currentConnection, first);
  int transferred = 0;
  EXPECT_EQ(TVLGetFile(Arg("f"), nullptr, &transferred), 0);
  EXPECT_EQ(transferred, 1);
  EXPECT_EQ(TVLCloseConnection(), 0);
  EXPECT_EQ(TVLCloseConnection(), 8);
  EXPECT_EQ(Connect(), 0);
}

TEST_F(Functions, AFailedConnectLeavesNoTrace) {
  const struct {
    const char* ini;
    int code;
  } cases[] = {{"", 3},
               {"[Environments]\nDocumentRoot=/no/such\n", 4},
               {"[Environments]\nDocumentRoot=/\n", 5},
               {"[Environments]\nDocumentRoot=/\nTmpDir=/no/such\n", 6}};
  for (const auto& row : cases) {
    folder_.Write("store.ini", row.ini);
    EXPECT_EQ(Connect(), row.code);
    EXPECT_EQ(currentConnection, nullptr);
    EXPECT_EQ(ConnectToServer(), 10);
    EXPECT_EQ(currentConnection, nullptr);
    EXPECT_EQ(TVLCloseConnection(), 8);
  }
  Configure("");
  EXPECT_EQ(Connect(), 0);
}

TEST_F(Functions, TellOfTheConnection) {
  Configure("[Environments]\n");
  ASSERT_EQ(Connect(), 0);
  char short_name[64] = {};
  char long_name[256] = {};
  int instance = -1;
  EXPECT_EQ(TVLConnectionInfos(short_name, long_name, &instance), 0);
  EXPECT_STREQ(short_name, "S");
  EXPECT_STREQ(long_name, "L");
  EXPECT_EQ(instance, currentConnection->InstanceId());
  EXPECT_EQ(TVLConnectionInfos(nullptr, nullptr, nullptr), 0);
}

TEST_F(Functions, TellNamesOfTheGreatestLength) {
  folder_.Write("store.ini", "[TavolisFileSystem]\nDocumentRoot=" + folder_.Host("root") +
                                 "\nShortName=" + string(300, 's') + "\nLongName=" + string(300, 'l') + "\n");
  ASSERT_EQ(Connect(), 0);
  char short_name[64];
  char long_name[256];
  EXPECT_EQ(TVLConnectionInfos(short_name, long_name, nullptr), 0);
  EXPECT_EQ(std::strlen(short_name), 63U);
  EXPECT_EQ(std::strlen(long_name), 255U);
}

// The first name is the store's in both directions; a missing second one is the same.
TEST_F(Functions, NamesOfAFile) {
  ASSERT_EQ(Connect(), 0);
  int transferred = 1;
  EXPECT_EQ(TVLGetFile(Arg("f"), Arg(""), &transferred), 0);
  EXPECT_EQ(TVLGetFile(Arg("f"), Arg("sub/g"), &transferred), 0);
  EXPECT_EQ(folder_.Read("work/f") + folder_.Read("work/sub/g"), "abcabc");
  folder_.Write("work/h", "put");
  EXPECT_EQ(TVLPutFile(Arg("h"), nullptr, &transferred), 0);
  EXPECT_EQ(TVLPutFile(Arg("a/b"), Arg("h"), &transferred), 0);
  EXPECT_EQ(folder_.Read("root/h") + folder_.Read("root/a/b"), "putput");
  EXPECT_EQ(TVLPutFile(Arg("none"), Arg(""), &transferred), 27);
}

// Without a lock table nobody can have a lock, and the question is answered all the same.
TEST_F(Functions, AskForALockWithoutATable) {
  ASSERT_EQ(Connect(), 0);
  Outputs out;
  EXPECT_EQ(TVLLockObject(Arg("x"), &out.state, out.computer, &out.instance, &out.pid, out.address, out.user),
            0);
  EXPECT_EQ(out.state, 0);
  EXPECT_EQ(TVLUnlockObject(Arg("x"), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
}

TEST_F(Functions, TheHookRunsWhileFilesArePacked) {
  ASSERT_EQ(Connect(), 0);
  folder_.Write("root/large", string(100000, 'x'));
  int turns = 0;
  TVLSetPumpHook([](void* userData) { ++*static_cast<int*>(userData); }, &turns);
  int transferred = 0;
  EXPECT_EQ(TVLGetFile(Arg("large"), nullptr, &transferred), 0);
  EXPECT_GT(turns, 2 * 100000 / 16384) << "around each piece that is read";
  TVLSetPumpHook(nullptr, nullptr);
}

TEST_F(Functions, SayWhyAFileFailed) {
  ASSERT_EQ(Connect(), 0);
  int transferred = 1;
  TVLLastFileError(nullptr, 0);
  EXPECT_EQ(TVLGetFile(Arg("none"), nullptr, &transferred), 27);
  char path[300] = "old";
  EXPECT_EQ(TVLLastFileError(path, sizeof path), ENOENT);
  EXPECT_EQ(path, folder_.Logical("root/none"));
  EXPECT_EQ(TVLLastFileError(path, sizeof path), 0);
  EXPECT_STREQ(path, "");
  EXPECT_EQ(TVLGetFile(Arg("none"), nullptr, &transferred), 27);
  char tiny[4] = {'#', '#', '#', '#'};
  EXPECT_EQ(TVLLastFileError(tiny, 3), ENOENT);
  EXPECT_EQ(std::strlen(tiny), 2U);
  EXPECT_EQ(tiny[3], '#');
}

}  // namespace
