#ifndef TVL_TESTS_TCP_CONNECTION_H
#define TVL_TESTS_TCP_CONNECTION_H

#include <tvlclient/tcp_opr.h>

#include "support/testing.h"
#include "tcp/peer.h"

// A client whose working directory is "work" in a folder of the test's own.
class Connection : public CTVLClientTcpOpr {
 public:
  Connection() = default;
  explicit Connection(const Server& server) { EXPECT_EQ(Connect(server.Port()), TVL_OK); }

  int Connect(unsigned int port, const string& host = "127.0.0.1", const string& client_class = "tvlc",
              const string& tag = "tag") {
    return Open(Arg(folder.Host("work")), Arg(""), Arg(host), port, Arg(client_class), Arg(tag));
  }
  int Get(const string& remote, const string& local) {
    return GetRemote(Arg(remote), Arg(local), &transferred);
  }
  int Put(const string& remote, const string& local) {
    return PutRemote(Arg(remote), Arg(local), &transferred);
  }
  int LockOrUnlock(bool lock, const string& object) {
    const auto operation = lock ? &CTVLClientTcpOpr::Lock : &CTVLClientTcpOpr::Unlock;
    return (this->*operation)(Arg(object), &lock_state, computer.data(), &instance, &pid, ip.data(),
                              user.data());
  }
  // Returns the state, or minus the code.
  int LockState(const string& object) {
    const int code = LockOrUnlock(true, object);
    return code == TVL_OK ? lock_state : -code;
  }

  TempFolder folder;
  int transferred = 0;
  int lock_state = -1;
  int instance = -1;
  int pid = -1;
  // Buffers of exactly the sizes that the interface requires, so that a sanitizer detects an overflow.
  std::vector<char> computer = std::vector<char>(64);
  std::vector<char> ip = std::vector<char>(16);
  std::vector<char> user = std::vector<char>(65);
};

#endif
