#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <tvlclient/tvl.h>

#include "cli/console.h"
#include "cli/failure.h"
#include "cli/json.h"
#include "cli/options.h"
#include "cli/text.h"
#include "host/descriptor.h"
#include "host/system_calls.h"

namespace tvl::cli {
namespace {

constexpr std::size_t kLongestPath = 259;

// A regular file, open for as long as it is examined.
class InputFile {
 public:
  // Looks before it opens: the writer that waits at a pipe would be killed when this closes it.
  explicit InputFile(const std::string& name) {
    struct stat status = {};
    if (stat(name.c_str(), &status) != 0) {
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
  // A name of the open file that any library takes.
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

// 40 digits; empty if the file can't be read.
std::string HashOf(const std::string& name, const InputFile& file) {
  const bool plain = name.find('\\') == std::string::npos && name.size() <= kLongestPath;
  std::string path = plain ? name : file.OtherName();
  const std::string signature = GetFileSignature(path.data());
  const std::size_t bar = signature.find('|');
  return bar == std::string::npos ? std::string() : signature.substr(bar + 1);
}

// The line of sha1sum, which marks a name that it had to escape by a backslash in front of the whole line.
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

class Hashing {
 public:
  explicit Hashing(const Options& options) : options_(options) {}

  void Do(const std::string& name) {
    const InputFile file(name);
    if (file.Problem() != 0) return TellFailed(name, SystemFailure("cannot be read", file.Problem(), {}));
    ForgetFileErrors();
    const std::string hash = HashOf(name, file);
    if (hash.empty()) {
      const int error = TVLLastFileError(nullptr, 0);
      return TellFailed(name, SystemFailure("cannot be read", error, {}));
    }
    if (options_.json) {
      JsonObject document;
      document.Text("command", "hash").Text("file", name).Text("sha1", hash).Number("size", file.Size());
      console_.Out(document.Line());
    } else {
      console_.Out(HashLine(hash, name));
    }
  }

  [[nodiscard]] ExitStatus Status() const { return status_; }

 private:
  void TellFailed(const std::string& name, const Failure& failure) {
    status_ = status_ == kDone || status_ == failure.exit ? failure.exit : kFailed;
    if (options_.json) {
      JsonObject document;
      document.Text("command", "hash").Text("file", name);
      AddFailure(failure, document);
      console_.Out(document.Line());
    }
    console_.Err("tvl: hash " + Printable(name) + ": " + failure.Message());
  }

  const Options& options_;
  Console console_;
  ExitStatus status_ = kDone;
};

}  // namespace

void AddHashCommand(CLI::App& app, Invocation& invocation) {
  auto names = std::make_shared<std::vector<std::string>>();
  CLI::App& command = AddCommand(app, "hash", "SHA-1 of local files, as sha1sum prints it", "hash",
                                 invocation, [names, &options = invocation.options] {
                                   Hashing hashing(options);
                                   for (const std::string& name : *names) hashing.Do(name);
                                   return hashing.Status();
                                 });
  AddNames(command, *names, "Files, from the current folder", "FILE");
  command.footer(
      "Examples:\n  tvl hash report.pdf\n  tvl hash docs/*.doc | sha1sum -c\n  tvl --json hash report.pdf");
}

}  // namespace tvl::cli
