#include <fcntl.h>
#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <tvlclient/tvl.h>

#include "cli/command_line.h"
#include "cli/output/reporter.h"
#include "host/descriptor.h"
#include "host/system_calls.h"

namespace tvl::cli {
namespace {

constexpr std::size_t kLongestPath = 259;

// A regular file that stays open while it is examined.
class InputFile {
 public:
  // Checks the type before it opens the file: opening and closing a pipe would kill a writer that waits
  // there.
  explicit InputFile(const std::string& name) {
    struct stat status = {};
    if (System().stat(name.c_str(), &status) != 0) {
      problem_ = errno;
    } else if (!Refuses(status)) {
      file_ = Descriptor(System().open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK, 0));
      if (!file_.IsOpen() || System().fstat(file_.Get(), &status) != 0) {
        problem_ = errno;
      } else if (!Refuses(status)) {
        size_ = status.st_size;
      }
    }
  }

  [[nodiscard]] int Problem() const { return problem_; }
  [[nodiscard]] std::int64_t Size() const { return size_; }
  // Returns a path to the open file without characters that the library treats specially.
  [[nodiscard]] std::string OtherName() const { return "/proc/self/fd/" + std::to_string(file_.Get()); }

 private:
  bool Refuses(const struct stat& status) {
    if (!S_ISREG(status.st_mode)) problem_ = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return problem_ != 0;
  }

  Descriptor file_;
  int problem_ = 0;
  std::int64_t size_ = 0;
};

// Returns 40 hexadecimal digits; empty if the file cannot be read.
std::string HashOf(const std::string& name, const InputFile& file) {
  const bool plain = name.find('\\') == std::string::npos && name.size() <= kLongestPath;
  std::string path = plain ? name : file.OtherName();
  const std::string signature = GetFileSignature(path.data());
  const std::size_t bar = signature.find('|');
  return bar == std::string::npos ? std::string() : signature.substr(bar + 1);
}

// Formats a line like sha1sum, which marks an escaped name with a backslash at the start of the line.
std::string HashLine(const std::string& hash, const std::string& name) {
  std::string escaped;
  for (const char character : name) {
    if (character == '\\') {
      escaped += "\\\\";
    } else if (character == '\n') {
      escaped += "\\n";
    } else if (character == '\r') {
      escaped += "\\r";
    } else {
      escaped += character;
    }
  }
  return (escaped == name ? "" : "\\") + hash + "  " + escaped;
}

ExitStatus RunHash(Reporter& reporter, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    const InputFile file(name);
    ForgetFileErrors();
    const std::string hash = file.Problem() == 0 ? HashOf(name, file) : std::string();
    if (hash.empty()) {
      const int problem = file.Problem() != 0 ? file.Problem() : TVLLastFileError(nullptr, 0);
      reporter.Fail(name, SystemFailure("cannot be read", problem, {}));
    } else if (reporter.PrintsJson()) {
      reporter.Print(reporter.Document().Text("file", name).Text("sha1", hash).Number("size", file.Size()));
    } else {
      reporter.PrintLine(HashLine(hash, name));
    }
  }
  return reporter.Exit();
}

}  // namespace

void AddHashCommand(CLI::App& app, Invocation& invocation) {
  auto names = std::make_shared<std::vector<std::string>>();
  CLI::App& command = AddCommand(
      app, "hash", "Print the SHA-1 of local files, like sha1sum", "hash", invocation,
      [names](const Options& /*unused*/, Reporter& reporter) { return RunHash(reporter, *names); });
  AddNames(command, *names, "Local files", "FILE");
  command.footer(
      "Examples:\n  tvl hash report.pdf\n  tvl hash docs/*.doc | sha1sum -c\n  tvl --json hash report.pdf");
}

}  // namespace tvl::cli
