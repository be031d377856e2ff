#ifndef TVL_TESTS_SUPPORT_HELPER_PROCESS_H
#define TVL_TESTS_SUPPORT_HELPER_PROCESS_H

#include <sys/types.h>

#include <string>
#include <vector>

// What the test binary does when it is run as another process of a test: a role is a function of a name that
// gets arguments and gives an exit code.
using RoleFunction = int (*)(const std::vector<std::string>& arguments);

class Role {
 public:
  Role(const char* name, RoleFunction function);
};

// For roles: one line to, or from, the test.
void Tell(const std::string& line);
std::string Listen();

// This binary once more, in a role. Killed with its object if it still runs.
class HelperProcess {
 public:
  explicit HelperProcess(std::vector<std::string> roleAndArguments);
  HelperProcess(const HelperProcess&) = delete;
  HelperProcess& operator=(const HelperProcess&) = delete;
  ~HelperProcess();

  // The next line that the helper tells; "" when it has ended.
  std::string Hear();
  void Say(const std::string& line);

  void Signal(int signal) const;
  [[nodiscard]] pid_t Pid() const { return process_; }

  // Waits for the end: the exit code, or minus the signal that ended it.
  int Wait();

 private:
  pid_t process_ = -1;
  int toHelper_ = -1;
  int fromHelper_ = -1;
};

#endif
