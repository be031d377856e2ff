#ifndef TVL_CLI_FAILURE_H
#define TVL_CLI_FAILURE_H

#include <exception>
#include <string>

#include "cli/exit_status.h"
#include "cli/json.h"

namespace tvl::cli {

// Why something failed, as far as it is known.
struct Failure {
  ExitStatus exit = kFailed;
  int code = 0;      // the library's; 0 where it was not asked
  std::string what;  // what failed, in our words
  int error = 0;     // the system's reason, an errno value
  std::string path;  // the file that it is about

  // "what (code 22): No space left on device: /x/y", with the parts that are known.
  [[nodiscard]] std::string Message() const;
};

// What the library's codes mean to a user. A number that has no row, as a server may send, is a failure.
struct CodeMeaning {
  int code;
  ExitStatus exit;
  const char* what;
};
[[nodiscard]] const CodeMeaning& MeaningOf(int code);

// The library's own text of a code, as UTF-8.
[[nodiscard]] std::string LibraryText(int code);

// Forgets earlier failures of files, so that LibraryFailure describes what comes next.
void ForgetFileErrors();

// What is known of the operation of the library that just returned `code`.
[[nodiscard]] Failure LibraryFailure(int code);

// Adds to a failure the reason with which a server refused: a word of its protocol, or the empty text if it
// did not say why; null if it did not refuse.
void ExplainRefusal(const char* reason, Failure& failure);

// A system call of our own that failed for the reason `error`.
[[nodiscard]] Failure SystemFailure(const std::string& what, int error, const std::string& path);

// Puts what is known of a failure into a document.
void AddFailure(const Failure& failure, JsonObject& document);

// Ends a command: there is nothing to go on with.
class Stop : public std::exception {
 public:
  // `subject`: what the failure is about, put before its message; may be empty.
  Stop(std::string subject, Failure failure);
  // Wrong use of the program.
  explicit Stop(const std::string& usage);

  [[nodiscard]] const std::string& Subject() const { return subject_; }
  [[nodiscard]] const Failure& Reason() const { return failure_; }
  [[nodiscard]] const char* what() const noexcept override { return failure_.what.c_str(); }

 private:
  std::string subject_;
  Failure failure_;
};

}  // namespace tvl::cli

#endif
