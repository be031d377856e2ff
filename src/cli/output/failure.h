#ifndef TVL_CLI_OUTPUT_FAILURE_H
#define TVL_CLI_OUTPUT_FAILURE_H

#include <exception>
#include <string>

#include "cli/output/exit_status.h"
#include "cli/output/json.h"

namespace tvl::cli {

// Why something failed, as far as known.
struct Failure {
  ExitStatus exit = kFailed;
  int code = 0;           // the library's code; 0 if the library was not involved
  std::string what;       // what failed, in words
  int error = 0;          // the system's reason, an errno value
  std::string path = {};  // the file concerned
  std::string hint = {};  // what to do about it

  // Returns "what (code 22): No space left on device: /x/y", reduced to the parts that are known.
  [[nodiscard]] std::string Message() const;

  // Adds the members that describe the failure. All but the hint are always present.
  void Describe(JsonObject& document) const;
};

// What a code of the library means to a user. A code without a row, such as an unknown one from a server, is
// a failure.
struct CodeMeaning {
  int code;
  ExitStatus exit;
  const char* what;
};
[[nodiscard]] const CodeMeaning& MeaningOf(int code);

// Returns the library's own text for a code, as UTF-8.
[[nodiscard]] std::string LibraryText(int code);

// Forgets earlier file errors, so that LibraryFailure describes only what follows.
void ForgetFileErrors();

// Returns true if a file operation of the library failed on this thread since then, and forgets it.
[[nodiscard]] bool HadFileErrors();

// Describes the failure of the library call that has just returned `code`.
[[nodiscard]] Failure LibraryFailure(int code);

// Adds the reason for which a server refused to a failure. `reason` is a word of the protocol, empty if the
// server sent none, or null if it did not refuse.
void ExplainRefusal(const char* reason, Failure& failure);

// Describes the failure of a system call with errno value `error`.
[[nodiscard]] Failure SystemFailure(const std::string& what, int error, const std::string& path);

// Thrown to end a command that cannot continue.
class Stop : public std::exception {
 public:
  // `subject` names what the failure is about and precedes its message; it may be empty.
  Stop(std::string subject, Failure failure);
  // Wrong use of the program, with a message for the user and what to do instead.
  explicit Stop(const std::string& usage, const std::string& hint = {});

  [[nodiscard]] const std::string& Subject() const { return subject_; }
  [[nodiscard]] const Failure& Reason() const { return failure_; }
  [[nodiscard]] const char* what() const noexcept override { return failure_.what.c_str(); }

 private:
  std::string subject_;
  Failure failure_;
};

}  // namespace tvl::cli

#endif
