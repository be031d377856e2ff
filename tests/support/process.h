#ifndef TVL_TESTS_SUPPORT_PROCESS_H
#define TVL_TESTS_SUPPORT_PROCESS_H

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

// How to start a program. The environment is the test's own without what steers `tvl`, plus `environment`.
struct ProcessStart {
  std::vector<std::string> command;  // path of the program, then its arguments
  std::map<std::string, std::string> environment = {};
  std::string folder = {};  // where it runs; empty: where the test does
  std::string input = {};
  bool narrow_output = false;  // a page of unread output makes the program wait
};

struct ProcessResult {
  int exit = -1;  // exit code; 127: could not be started; 128 and the signal's number for one that was killed
  std::string out;
  std::string err;
};

// A running program. It has two minutes, then it is killed; so is one that the test leaves behind.
class Process {
 public:
  explicit Process(const ProcessStart& start);
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  void Signal(int signal) const;

  // Reads standard error, and leaves standard output unread, until `text` has come. False if it never does.
  bool ReadErrorsUntil(const std::string& text);
  [[nodiscard]] const std::string& Errors() const { return result_.err; }

  // Waits until there is standard output to read, and leaves it there. False if there is none.
  [[nodiscard]] bool AwaitOutput() const;

  // Reads what is still to come and waits for the end.
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
