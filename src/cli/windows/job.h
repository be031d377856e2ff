#ifndef TVL_CLI_WINDOWS_JOB_H
#define TVL_CLI_WINDOWS_JOB_H

#include <string>
#include <vector>

#include "cli/windows/handle.h"

namespace tvl::cli {

// A command and all processes that it starts. They end with this process, however that ends, unless the
// command has ended before.
class Job {
 public:
  Job();

  // Runs a command. Returns 0, or a code of GetLastError.
  [[nodiscard]] unsigned long Start(const std::vector<std::string>& command);

  // Returns the process of the command.
  [[nodiscard]] HANDLE Process() const { return process_; }

  // Ends the command and all processes that it has started.
  void End(unsigned int exit_code);

  // Returns the exit code of the command, which has ended. What it has started may continue.
  [[nodiscard]] int Finish();

 private:
  [[nodiscard]] bool EndWithThisProcess(bool ends);

  Handle job_;
  HANDLE process_ = nullptr;  // closed when this process ends
};

// Returns a command line from which a program reads these arguments.
[[nodiscard]] std::wstring CommandLineOf(const std::vector<std::string>& arguments);

}  // namespace tvl::cli

#endif
