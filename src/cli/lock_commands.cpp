#include <fnmatch.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <tvlclient/errors.h>

#include "cli/columns.h"
#include "cli/configuration.h"
#include "cli/console.h"
#include "cli/json.h"
#include "cli/lock_holder.h"
#include "cli/options.h"
#include "cli/store.h"
#include "cli/text.h"

namespace tvl::cli {
namespace {

constexpr std::size_t kLongestObject = 32;
constexpr std::chrono::milliseconds kPauseBetweenTries{100};

enum LockState { kFree = 0, kOwn = 1, kOtherInstance = 2, kOtherComputer = 3 };

// What a lock operation found or did.
struct LockAnswer {
  int state = kFree;
  int instance = 0;
  int pid = 0;
  char computer[64] = {};
  char address[16] = {};
  char user[65] = {};

  [[nodiscard]] bool IsHeldByOther() const { return state == kOtherInstance || state == kOtherComputer; }
};

using LockCall = int (CTVLClientOpr::*)(char*, int*, char*, int*, int*, char*, char*);

LockAnswer Ask(CTVLClientOpr& client, LockCall call, std::string object) {
  LockAnswer answer;
  ForgetFileErrors();
  const int code = (client.*call)(object.data(), &answer.state, answer.computer, &answer.instance,
                                  &answer.pid, answer.address, answer.user);
  if (code != TVL_OK) throw Stop(object, LibraryFailure(code));
  return answer;
}

std::string HolderText(const LockAnswer& answer) {
  return "held by " + std::string(answer.user) + " on " + answer.computer + " (" + answer.address +
         "), instance " + std::to_string(answer.instance) + ", process " + std::to_string(answer.pid);
}

void Describe(const std::string& object, const LockAnswer& answer, JsonObject& document) {
  document.Text("object", object).Number("state", answer.state);
  if (answer.state == kFree) return;
  document.Text("computer", answer.computer).Text("address", answer.address).Text("user", answer.user);
  document.Number("instance", answer.instance).Number("pid", answer.pid);
}

void CheckObject(const std::string& object) {
  if (object.empty() || object.size() > kLongestObject)
    throw Stop("an object's name has 1 to " + std::to_string(kLongestObject) + " bytes");
}

// Nothing local is touched by these commands: they use the store's own folder in place.
std::string NoWorkingDirectory(const Options& options) {
  return options.tcp.empty() ? std::string() : FindWorkingDirectory(options);
}

std::string TemporaryFolder(const Store& store) {
  return Slashed(store.Variable("TmpDir"));
}

// Without presence a lock counts as a dead owner's, so that is found out before one is taken.
void CheckPresence(Store& store) {
  if (store.Directory() == nullptr) return;
  const std::string folder = Joined(TemporaryFolder(store), "procs");
  if (access(folder.c_str(), W_OK | X_OK) == 0) return;
  throw Stop({}, {kUnreachable, 0, "presence cannot be shown, so no lock would count", errno, folder});
}

// Why the lock table can't be used.
Failure LockTableFailure(const Store& store) {
  Failure failure = {kUnreachable, 0, "the lock table cannot be used", 0, {}};
  if (TemporaryFolder(store).empty()) return failure;
  failure.path = Joined(TemporaryFolder(store), "locks/dtlocks.dat");
  if (access(failure.path.c_str(), R_OK | W_OK) != 0) {
    failure.error = errno;
  } else {
    failure.what += ", it is busy or damaged";
  }
  return failure;
}

// Asks for the lock until it is there or the time is over.
LockAnswer LockWithin(CTVLClientOpr& client, const std::string& object, double patience) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(patience);
  for (;;) {
    const LockAnswer answer = Ask(client, &CTVLClientOpr::Lock, object);
    if (!answer.IsHeldByOther() || std::chrono::steady_clock::now() >= end) return answer;
    std::this_thread::sleep_for(kPauseBetweenTries);
  }
}

struct LockRequest {
  std::string object;
  double patience = 0;
  std::vector<std::string> command;
};

ExitStatus RefuseLock(const Options& options, const LockRequest& request, const LockAnswer& answer) {
  Console console;
  if (options.json) {
    JsonObject document;
    Describe(request.object, answer, document.Text("command", "lock"));
    console.Out(document.Number("exit", kHeld).Line());
  }
  console.Err("tvl: lock: " + Printable(request.object + ": " + HolderText(answer)));
  return kHeld;
}

// Says that the lock is there, to a program that reads it and to a person; a command has the output to
// itself.
void TellLocked(const Options& options, const LockRequest& request, const LockAnswer& answer) {
  if (!request.command.empty() || options.quiet) return;
  Console console;
  if (options.json) {
    JsonObject document;
    Describe(request.object, answer, document.Text("command", "lock"));
    console.Out(document.Line());
  } else {
    console.Out(Printable(request.object) + ": locked" + (isatty(STDIN_FILENO) == 1 ? ", until Ctrl-D" : ""));
  }
  std::fflush(stdout);
}

ExitStatus RunLock(const Options& options, const LockRequest& request) {
  CheckObject(request.object);
  Store store(options, NoWorkingDirectory(options), Store::Use::kWork);
  CheckPresence(store);
  const LockAnswer answer = LockWithin(store.Client(), request.object, request.patience);
  if (answer.IsHeldByOther()) return RefuseLock(options, request, answer);
  if (answer.state == kFree) throw Stop(request.object, LockTableFailure(store));
  BlockEndingSignals();
  TellLocked(options, request, answer);
  const HoldEnd end = request.command.empty() ? HoldUntilInputEnds() : HoldWhileRunning(request.command);
  Ask(store.Client(), &CTVLClientOpr::Unlock, request.object);
  return static_cast<ExitStatus>(end.exit);
}

ExitStatus RunUnlock(const Options& options, const std::string& object) {
  CheckObject(object);
  Store store(options, NoWorkingDirectory(options), Store::Use::kWork);
  const LockAnswer answer = Ask(store.Client(), &CTVLClientOpr::Unlock, object);
  const bool failed = answer.state == kOwn;
  if (failed) throw Stop(object, LockTableFailure(store));
  const ExitStatus exit = answer.IsHeldByOther() ? kHeld : kDone;
  Console console;
  if (options.json) {
    JsonObject document;
    Describe(object, answer, document.Text("command", "unlock"));
    console.Out(document.Number("exit", exit).Line());
  } else if (exit == kHeld) {
    console.Err("tvl: unlock: " + Printable(object + ": " + HolderText(answer)));
  } else if (!options.quiet) {
    console.Out(Printable(object) + ": not locked");
  }
  return exit;
}

// --- Listings ---

using Row = std::vector<std::string>;

struct LockListing {
  std::string pattern;
  std::vector<Row> rows;
  std::vector<JsonObject> documents;
};

void AddLock(const TVLStandingLock* lock, void* listing_to_fill) {
  auto& listing = *static_cast<LockListing*>(listing_to_fill);
  if (fnmatch(listing.pattern.c_str(), lock->object, 0) != 0) return;
  listing.rows.push_back({lock->object, lock->alive != 0 ? "alive" : "dead", lock->user, lock->computer,
                          lock->ipAddress, lock->className, std::to_string(lock->instance),
                          std::to_string(lock->pid)});
  listing.documents.emplace_back()
      .Text("object", lock->object)
      .Flag("alive", lock->alive != 0)
      .Text("user", lock->user)
      .Text("computer", lock->computer)
      .Text("address", lock->ipAddress)
      .Text("class", lock->className)
      .Number("instance", lock->instance)
      .Number("pid", lock->pid);
}

void PrintListing(const Options& options, const std::string& command, const char* key, Row head,
                  std::vector<Row> rows, const std::vector<JsonObject>& documents) {
  Console console;
  if (options.json) {
    console.Out(JsonObject().Text("command", command).Array(key, documents).Line());
    return;
  }
  if (rows.empty()) return;
  if (!options.quiet) rows.insert(rows.begin(), std::move(head));
  for (const std::string& line : InColumns(rows)) console.Out(line);
}

CTVLClientSmbOpr& DirectoryOf(Store& store, const Options& options) {
  if (store.Directory() != nullptr) return *store.Directory();
  throw Stop(options.tcp, LibraryFailure(TVL_ERR_NOT_SUPPORTED));
}

ExitStatus RunLocks(const Options& options, const std::string& pattern) {
  Store store(options, NoWorkingDirectory(options), Store::Use::kWork);
  LockListing listing = {pattern.empty() ? "*" : pattern, {}, {}};
  const int code = DirectoryOf(store, options).ListLocks(AddLock, &listing);
  if (code == TVL_ERR_SERVER_FILE) throw Stop({}, LockTableFailure(store));
  if (code != TVL_OK) throw Stop({}, LibraryFailure(code));
  PrintListing(options, "locks", "locks",
               {"OBJECT", "OWNER", "USER", "COMPUTER", "ADDRESS", "CLASS", "INSTANCE", "PROCESS"},
               listing.rows, listing.documents);
  return kDone;
}

// Cuts `text` at its last `separator` and gives what stood behind it.
std::string CutLast(std::string& text, char separator) {
  const std::size_t at = text.rfind(separator);
  if (at == std::string::npos) return {};
  std::string behind = text.substr(at + 1);
  text.resize(at);
  return behind;
}

std::string DottedAddress(const std::string& hex) {
  std::string text;
  for (std::size_t at = 0; at + 2 <= hex.size(); at += 2) {
    if (at > 0) text += '.';
    text += std::to_string(std::stoul(hex.substr(at, 2), nullptr, 16));
  }
  return text;
}

// An instance, told by its marker's name: computer-address-number.process.class.tvp.
Row DescribeInstance(std::string name, JsonObject& document) try {
  CutLast(name, '.');
  const std::string client_class = CutLast(name, '.');
  const unsigned long pid = std::stoul(CutLast(name, '.'), nullptr, 16);
  const unsigned long number = std::stoul(CutLast(name, '-'));
  const std::string address = DottedAddress(CutLast(name, '-'));
  document.Text("computer", name).Text("address", address).Text("class", client_class);
  document.Number("instance", static_cast<std::int64_t>(number))
      .Number("pid", static_cast<std::int64_t>(pid));
  return {name, address, client_class, std::to_string(number), std::to_string(pid)};
} catch (const std::logic_error&) {
  document.Text("marker", name);  // somebody else's file, held by somebody
  return {name, "-", "-", "-", "-"};
}

ExitStatus RunWho(const Options& options, const std::string& client_class) {
  Store store(options, NoWorkingDirectory(options), Store::Use::kWork);
  std::string wanted = client_class.empty() ? "*" : client_class;
  int count = 0;
  CString list;
  const int code = store.Client().GetProcessesList(wanted.data(), count, list);
  if (code != TVL_OK) throw Stop(options.tcp, LibraryFailure(code));
  std::vector<Row> rows;
  std::vector<JsonObject> documents;
  const std::string names = list.GetString();
  for (std::size_t at = 0; at < names.size();) {
    const std::size_t end = names.find('|', at);
    rows.push_back(DescribeInstance(names.substr(at, end - at), documents.emplace_back()));
    at = end + 1;
  }
  PrintListing(options, "who", "instances", {"COMPUTER", "ADDRESS", "CLASS", "INSTANCE", "PROCESS"}, rows,
               documents);
  return kDone;
}

void AddLockCommand(CLI::App& app, Invocation& invocation) {
  auto request = std::make_shared<LockRequest>();
  CLI::App& lock =
      AddCommand(app, "lock", "Hold the lock on an object", "lock", invocation,
                 [request, &options = invocation.options] { return RunLock(options, *request); });
  AddText(lock, "NAME", request->object, "Any name of 1 to 32 bytes", "").required();
  lock.add_option("-w,--wait", request->patience, "How long to wait for another's lock")
      ->type_name("SECS")
      ->check(CLI::NonNegativeNumber);
  AddNames(lock, request->command, "Command that runs under the lock", "CMD").required(false);
  lock.footer(R"(With a command the lock is held while it runs, and its exit code is passed on; without
one, until standard input ends. Exit 4: another holds the lock. Exit 5: there is no
usable lock table, and the command was not run. A killed tvl takes its command with it.

Examples:
  tvl lock ORD1 -- vi order1.txt
  tvl lock -w 30 nightly -- ./nightly-run
  tvl lock ORD1                            until Ctrl-D)");
}

template <typename Run>
CLI::App& AddNamed(CLI::App& app, Invocation& invocation, const char* name, const char* description,
                   const char* argument, const char* help, Run run) {
  auto value = std::make_shared<std::string>();
  CLI::App& command =
      AddCommand(app, name, description, name, invocation,
                 [value, run, &options = invocation.options] { return run(options, *value); });
  AddText(command, argument, *value, help, "");
  return command;
}

}  // namespace

void AddLockCommands(CLI::App& app, Invocation& invocation) {
  AddLockCommand(app, invocation);
  AddNamed(app, invocation, "unlock", "Give back the lock on an object, if this instance holds it", "NAME",
           "The object's name", RunUnlock)
      .footer("A lock of another instance stays; exit 4 tells of it.\n\nExamples:\n  tvl unlock ORD1");
  AddNamed(app, invocation, "locks", "List the standing locks", "PATTERN", "Which objects, with * and ?",
           RunLocks)
      .footer(
          "A dead owner's lock is free for whoever asks next. Nothing is changed by looking.\n\nExamples:\n"
          "  tvl locks\n  tvl locks 'ORD*'\n  tvl --json locks");
  AddNamed(app, invocation, "who", "List the live instances on the store", "CLASS",
           "Client class (default: all)", RunWho)
      .footer("Markers of dead instances are cleared away.\n\nExamples:\n  tvl who\n  tvl who mgrx");
}

}  // namespace tvl::cli
