#ifndef TVL_TESTS_PRESENCE_CLIENT_PROCESS_H
#define TVL_TESTS_PRESENCE_CLIENT_PROCESS_H

#include <string>

#include "support/helper_process.h"

// An instance of the class "mgrx" in a process of its own, which takes its number when it is told to.
class ClientProcess : public HelperProcess {
 public:
  // As another user if one is given.
  explicit ClientProcess(const std::string& folder, int user = 0)
      : HelperProcess({"client", folder, std::to_string(user)}) {
    Hear();
  }

  // Its number.
  std::string Start() { return Ask("start"); }

  // The state of a lock that it tries.
  std::string Lock(const std::string& object) { return Ask(object); }

 private:
  std::string Ask(const std::string& line) {
    Say(line);
    return Hear();
  }
};

#endif
