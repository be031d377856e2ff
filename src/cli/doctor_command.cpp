#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include <tvlclient/errors.h>
#include <tvlclient/smb_opr.h>

#include "cli/columns.h"
#include "cli/console.h"
#include "cli/json.h"
#include "cli/lock_child.h"
#include "cli/options.h"
#include "cli/store.h"
#include "cli/text.h"

namespace tvl::cli {
namespace {

namespace fs = std::filesystem;

// What a check found.
struct Finding {
  bool good;
  std::string detail;
};

std::string Reason() {
  return std::generic_category().message(errno);
}

// A folder for the checks, gone with all in it at the end.
class Scratch {
 public:
  explicit Scratch(const std::string& folder) : path_(Joined(folder, ".tvl-doctor-XXXXXX")) {
    if (mkdtemp(path_.data()) == nullptr)
      throw Stop({}, {kFailed, 0, "nothing can be written", errno, folder});
  }
  ~Scratch() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  // A new file with `text` in it.
  [[nodiscard]] std::string File(const std::string& name, const std::string& text) const {
    std::ofstream(Path(name), std::ios::binary) << text;
    return Path(name);
  }
  [[nodiscard]] std::string Path(const std::string& name) const { return Joined(path_, name); }

 private:
  std::string path_;
};

bool CanLock(const std::string& path) {
  const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
  const bool locked = file >= 0 && TryLock(file);
  if (file >= 0) close(file);
  return locked;
}

Finding CheckLocks(const Scratch& scratch) {
  const std::string path = scratch.File("lock", "x");
  LockChild other(path);
  if (!other.Holds()) return {false, "no lock is to be had"};
  if (CanLock(path)) return {false, "two processes get the same lock"};
  other.Kill();
  if (!CanLock(path)) return {false, "the lock of a killed process stays"};
  return {true, "one process at a time, and a killed one gives it back"};
}

Finding CheckDeletion(const Scratch& scratch) {
  std::string path = scratch.File("held", "x");
  LockChild other(path);
  CTVLClientSmbOpr remover;
  const bool refused = other.Holds() && remover.RemoveDosDir(path.data(), nullptr, nullptr) != TVL_OK;
  if (!refused || access(path.c_str(), F_OK) != 0) return {false, "a held file was deleted"};
  other.Kill();
  if (remover.RemoveDosDir(path.data(), nullptr, nullptr) != TVL_OK || access(path.c_str(), F_OK) == 0)
    return {false, "a file that nobody holds any more stays"};
  return {true, "refused while another process holds it"};
}

Finding CheckRename(const Scratch& scratch) {
  const std::string from = scratch.File("new", "new");
  const std::string to = scratch.File("old", "old");
  if (rename(from.c_str(), to.c_str()) != 0) return {false, Reason()};
  std::ifstream file(to, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  return text == "new" ? Finding{true, "replaces the file that was there"}
                       : Finding{false, "the old file stays"};
}

Finding CheckTimes(const Scratch& scratch) {
  constexpr long kNanoseconds = 123'456'789;
  constexpr time_t kOddSecond = 1'000'000'001;
  const std::string path = scratch.File("time", "x");
  const std::array<timespec, 2> times = {{{kOddSecond, kNanoseconds}, {kOddSecond, kNanoseconds}}};
  struct stat status = {};
  if (utimensat(AT_FDCWD, path.c_str(), times.data(), 0) != 0 || stat(path.c_str(), &status) != 0)
    return {false, Reason()};
  if (status.st_mtim.tv_sec != kOddSecond) return {true, "2 s or coarser"};
  for (long grain = 1; grain <= 100'000'000; grain *= 10) {
    if (status.st_mtim.tv_nsec == kNanoseconds / grain * grain) return {true, std::to_string(grain) + " ns"};
  }
  return {true, "1 s"};
}

Finding CheckCase(const Scratch& scratch) {
  static_cast<void>(scratch.File("Case", "x"));
  const bool alike = access(scratch.Path("cASE").c_str(), F_OK) == 0;
  return {true, alike ? "a and A are one name" : "a and A are two names"};
}

// File system and options of the mount that `folder` lies in, by the device's number.
Finding CheckMount(const std::string& folder) {
  struct stat status = {};
  if (stat(folder.c_str(), &status) != 0) return {false, Reason()};
  const std::string device =
      std::to_string(major(status.st_dev)) + ":" + std::to_string(minor(status.st_dev));
  std::ifstream mounts("/proc/self/mountinfo");
  std::string found;
  for (std::string line; std::getline(mounts, line);) {
    std::istringstream words(line);
    std::string id, parent, number, root, place, options, rest, type, source, super_options;
    words >> id >> parent >> number >> root >> place >> options;
    while (words >> rest && rest != "-") {
    }
    words >> type >> source >> super_options;
    if (number == device) found = type + " at " + place + " (" + options + "; " + super_options + ")";
  }
  if (found.empty()) return {true, "unknown"};
  const bool no_locks = found.find("nolock") != std::string::npos || found.find("nobrl") != std::string::npos;
  return {!no_locks, found + (no_locks ? ": locks stay on this machine" : "")};
}

Finding CheckSpace(const std::string& folder) {
  struct statvfs space = {};
  if (statvfs(folder.c_str(), &space) != 0) return {false, Reason()};
  const std::uint64_t bytes = std::uint64_t{space.f_bavail} * space.f_frsize;
  return {bytes > 0, HumanBytes(bytes) + " free"};
}

// The checks by name; `needed`: presence and locks can't be trusted without it.
struct ScratchCheck {
  const char* name;
  bool needed;
  Finding (*run)(const Scratch&);
};
constexpr ScratchCheck kScratchChecks[] = {
    {"locks", true, CheckLocks},
    {"deletion of a held file", true, CheckDeletion},
    {"rename over a file", true, CheckRename},
    {"time stamps", false, CheckTimes},
    {"letter case", false, CheckCase},
};
struct FolderCheck {
  const char* name;
  bool needed;
  Finding (*run)(const std::string&);
};
constexpr FolderCheck kFolderChecks[] = {{"mount", true, CheckMount}, {"space", true, CheckSpace}};

class Report {
 public:
  void Add(const char* name, bool needed, const Finding& finding) {
    rows_.push_back({name, finding.good ? "ok" : "bad", finding.detail});
    documents_.emplace_back()
        .Text("check", name)
        .Flag("ok", finding.good)
        .Flag("needed", needed)
        .Text("detail", finding.detail);
    if (needed && !finding.good) status_ = kFailed;
  }

  [[nodiscard]] ExitStatus Tell(const Options& options, const std::string& folder) const {
    Console console;
    if (options.json) {
      JsonObject document;
      document.Text("command", "doctor").Text("folder", folder).Array("checks", documents_);
      console.Out(document.Number("exit", status_).Line());
      return status_;
    }
    if (!options.quiet) {
      for (const std::string& line : InColumns(rows_)) console.Out(line);
    }
    if (status_ != kDone)
      console.Err("tvl: doctor: " + Printable(folder) + ": presence and locks cannot be trusted here");
    return status_;
  }

 private:
  std::vector<std::vector<std::string>> rows_;
  std::vector<JsonObject> documents_;
  ExitStatus status_ = kDone;
};

std::string FolderOf(const Options& options, const std::string& given) {
  if (!given.empty()) return given;
  if (!options.tcp.empty()) throw Stop("doctor wants a folder, or the configuration of a directory store");
  return HostFolder(Store(options, {}, Store::Use::kLook).StorePath({}));
}

ExitStatus RunDoctor(const Options& options, const std::string& given) {
  const std::string folder = FolderOf(options, given);
  struct stat status = {};
  if (stat(folder.c_str(), &status) != 0) throw Stop({}, SystemFailure("no such folder", errno, folder));
  if (!S_ISDIR(status.st_mode)) throw Stop({}, {kFailed, 0, "is no folder", 0, folder});
  Report report;
  if (!options.dry_run) {
    const Scratch scratch(fs::canonical(folder).string());
    for (const ScratchCheck& check : kScratchChecks) report.Add(check.name, check.needed, check.run(scratch));
  }
  for (const FolderCheck& check : kFolderChecks) report.Add(check.name, check.needed, check.run(folder));
  return report.Tell(options, folder);
}

}  // namespace

void AddDoctorCommand(CLI::App& app, Invocation& invocation) {
  auto folder = std::make_shared<std::string>();
  CLI::App& doctor =
      AddCommand(app, "doctor", "Test whether a share can be trusted with a store", "doctor", invocation,
                 [folder, &options = invocation.options] { return RunDoctor(options, *folder); });
  AddText(doctor, "DIR", *folder, "Folder on the share (default: the store's)", "");
  doctor.footer(R"(Works in a folder of its own in DIR, which goes at the end. Two processes of this machine
are tried against each other; run it on each machine that uses the share. Exit 1: something
that presence and locks need is missing. With -n only what can be seen without writing.

Examples:
  tvl doctor
  tvl doctor /mnt/share)");
}

}  // namespace tvl::cli
