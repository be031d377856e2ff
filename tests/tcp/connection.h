#ifndef TVL_TESTS_TCP_CONNECTION_H
#define TVL_TESTS_TCP_CONNECTION_H

#include <string>

#include <tvlclient/tcp_opr.h>

#include "support/arg.h"
#include "support/temp_folder.h"

// A client whose working directory is "work" in a folder of the test's own.
class Connection : public CTVLClientTcpOpr {
 public:
  int Connect(unsigned int port, const std::string& host = "127.0.0.1",
              const std::string& clientClass = "tvlc", const std::string& tag = "tag") {
    return Open(Arg(folder.Host("work")), Arg(""), Arg(host), port, Arg(clientClass), Arg(tag));
  }
  int Get(const std::string& remote, const std::string& local) {
    return GetRemote(Arg(remote), Arg(local), &transferred);
  }
  int Put(const std::string& remote, const std::string& local) {
    return PutRemote(Arg(remote), Arg(local), &transferred);
  }
  int LockState(const std::string& object) {
    int answer = -1;
    const int code = Lock(Arg(object), &answer, nullptr, nullptr, nullptr, nullptr, nullptr);
    return code == 0 ? answer : -code;
  }

  TempFolder folder;
  int transferred = 0;
};

#endif
