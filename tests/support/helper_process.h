#ifndef TVL_TESTS_SUPPORT_HELPER_PROCESS_H
#define TVL_TESTS_SUPPORT_HELPER_PROCESS_H

#include <signal.h>
#include <sys/types.h>

#include <string>
#include <vector>

#ifdef _WIN32
// The system can only kill; other signals are ignored.
constexpr int SIGKILL = 9;
constexpr int SIGSTOP = 19;
#endif

// What the test binary does when it runs as another process of a test: a role is a named function that gets
// arguments and returns an exit code.
using RoleFunction = int (*)(const std::vector<std::string>& arguments);

class Role {
 public:
  Role(const char* name, RoleFunction function);
};

// For roles: send a line to the test, or receive one.
void Say(const std::string& line);
std::string Listen();

// Another process of this binary, in a role. It is killed with this object if it is still running.
class HelperProcess {
 public:
  explicit HelperProcess(std::vector<std::string> role_and_arguments);
  HelperProcess(const HelperProcess&) = delete;
  HelperProcess& operator=(const HelperProcess&) = delete;
  ~HelperProcess();

  // Returns the next line from the helper; "" when it has ended.
  std::string Hear();
  void Say(const std::string& line);

  void Signal(int signal) const;
  [[nodiscard]] pid_t Pid() const { return process_; }

  // Waits for the end. Returns the exit code, or minus the signal that ended it.
  int Wait();

 private:
  pid_t process_ = -1;
  int to_helper_ = -1;
  int from_helper_ = -1;
};

#endif
