#ifndef TVL_CLI_PROCESS_H
#define TVL_CLI_PROCESS_H

#include <string>
#include <vector>

namespace tvl::cli {

// Prepares this process for tvl and returns its arguments in UTF-8, without the name of the program:
//
//   POSIX     ignores SIGXFSZ, which would end the process when a file exceeds its size limit, so that the
//             write fails and is reported
//   Windows   lets the console show UTF-8, and the standard streams pass all bytes unchanged; replaces
//             patterns with `*` and `?` by the names that match, because no shell does
[[nodiscard]] std::vector<std::string> StartProcess(int count, const char* const* arguments);

// Calls `note` at the first interrupt: SIGINT or SIGTERM unless it was ignored when this process started, or
// Ctrl-C or Ctrl-Break in a console. `note` may run in a signal handler or on another thread. The second
// interrupt ends the process.
void OnInterrupt(void (*note)());

[[nodiscard]] unsigned long ProcessNumber();

// Raises the limit of open files, as far as the system has one: all files of a synced group stay open until
// it ends.
void RaiseFileLimit();

}  // namespace tvl::cli

#endif
