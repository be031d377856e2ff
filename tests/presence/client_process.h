#ifndef TVL_TESTS_PRESENCE_CLIENT_PROCESS_H
#define TVL_TESTS_PRESENCE_CLIENT_PROCESS_H

#include <string>

#include "support/helper_process.h"

// An instance of the class "mgrx" in its own process, which takes its number on request.
class ClientProcess : public HelperProcess {
 public:
  // Runs as another user if `user` is not 0.
  explicit ClientProcess(const std::string& folder, int user = 0)
      : HelperProcess({"client", folder, std::to_string(user)}) {
    Hear();
  }

  // Takes a number and returns it.
  std::string Start() { return Ask("start"); }

  // Tries to lock. Returns the state.
  std::string Lock(const std::string& object) { return Ask(object); }

 private:
  std::string Ask(const std::string& line) {
    Say(line);
    return Hear();
  }
};

#endif
