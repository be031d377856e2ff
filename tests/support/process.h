#ifndef TVL_TESTS_SUPPORT_PROCESS_H
#define TVL_TESTS_SUPPORT_PROCESS_H

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

// How to start a program. The environment is that of the test without the variables of `tvl`, plus
// `environment`.
struct ProcessStart {
  std::vector<std::string> command;  // path of the program, then its arguments
  std::map<std::string, std::string> environment = {};
  std::string folder = {};  // working directory; empty for that of the test
  std::string input = {};
  bool narrow_output = false;  // a page of unread output makes the program wait
  int passed = -1;             // a descriptor that the program gets as its descriptor 3
};

struct ProcessResult {
  int exit = -1;  // exit code; 127 if it could not be started; 128 plus the signal that killed it
  std::string out;
  std::string err;
};

// A running program. It is killed after two minutes, and at the end of this object.
class Process {
 public:
  explicit Process(const ProcessStart& start);
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  void Signal(int signal) const;

  // Reads standard error, but not standard output, until `text` has arrived. Returns false if it never does.
  bool ReadErrorsUntil(const std::string& text);
  [[nodiscard]] const std::string& Errors() const { return result_.err; }

  // Waits until there is standard output to read, without reading it. Returns false if there is none.
  [[nodiscard]] bool AwaitOutput() const;

  // Reads the remaining output and waits for the end.
  ProcessResult Finish();

 private:
  bool ReadBlock(int& descriptor, std::string& text) const;
  void ReadBoth();

  pid_t pid_ = -1;
  int out_ = -1;
  int err_ = -1;
  ProcessResult result_;
};

ProcessResult RunProcess(const ProcessStart& start);

#endif
