#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <tvlclient/errors.h>

#include "cli/command_line.h"
#include "cli/locks/lock_answer.h"
#include "cli/locks/lock_holder.h"
#include "cli/locks/lock_preview.h"
#include "cli/locks/lock_watch.h"
#include "cli/output/reporter.h"
#include "cli/output/terminal.h"
#include "cli/stall_watch.h"
#include "cli/store.h"

namespace tvl::cli {
namespace {

constexpr std::chrono::milliseconds kPauseBetweenTries{100};
constexpr int kLargestExitCode = 255;

struct LockRequest {
  std::string object;
  double patience = 0;
  int held_exit = kHeld;
  std::vector<std::string> command;
};

// Tries to lock until it succeeds or the time is over. Reports which client it waits for.
LockAnswer LockWithin(Store& store, Reporter& reporter, const LockRequest& request) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(request.patience);
  const WaitsElsewhere waits;  // for another client, which may take any time
  std::string holder;
  for (;;) {
    const LockAnswer answer = AskForLock(store, request.object);
    if (!answer.IsHeldByOther() || std::chrono::steady_clock::now() >= end) return answer;
    if (holder != answer.Holder()) reporter.Notice(request.object, "waiting for " + answer.Holder());
    holder = answer.Holder();
    std::this_thread::sleep_for(kPauseBetweenTries);
  }
}

void PrintAnswer(Reporter& reporter, const std::string& object, const LockAnswer& answer, ExitStatus exit) {
  if (!reporter.PrintsJson()) return;
  JsonObject document = reporter.Document();
  answer.Describe(object, document);
  reporter.Print(document.Number("exit", static_cast<int>(exit)));
}

// Reports that another client holds the lock.
ExitStatus Refuse(Reporter& reporter, const std::string& object, const LockAnswer& answer, ExitStatus exit) {
  PrintAnswer(reporter, object, answer, exit);
  reporter.Fail(object, {exit, 0, answer.HolderText()});
  return exit;
}

// Other clients respect a lock only if its state is 1 and its owner has a presence marker.
void CheckHeld(Store& store, const LockRequest& request, const LockAnswer& answer) {
  if (answer.state == TVL_LOCK_FREE) throw Stop(request.object, LockTableFailure(store));
  if (answer.state != TVL_LOCK_OWN) {
    throw Stop(request.object,
               {kUnreachable, 0, "not locked: unknown answer " + std::to_string(answer.state), 0, {}});
  }
  if (!store.IsPresent()) throw Stop(request.object, PresenceFailure(store));
}

// Reports to a program or a person that the lock is held.
void ReportLocked(Reporter& reporter, const LockRequest& request, const LockAnswer& answer) {
  if (!request.command.empty()) return;
  if (reporter.PrintsJson()) {
    JsonObject document = reporter.Document();
    answer.Describe(request.object, document);
    reporter.Print(document);
  } else {
    reporter.PrintDone(request.object + ": locked" +
                       (IsTerminal(Stream::kInput) ? std::string(", until ") + kEndOfInputKeys : ""));
  }
  std::fflush(stdout);
}

ExitStatus ReportLost(Reporter& reporter, const LockRequest& request, const std::string& reason) {
  reporter.Fail(request.object, {kUnreachable, 0, "the lock was lost: " + reason});
  return kUnreachable;
}

// Releases the lock. Reports a failure if its row remains in the table.
ExitStatus Release(Store& store, Reporter& reporter, const LockRequest& request, int exit) {
  const LockAnswer answer = AskForUnlock(store, request.object);
  if (answer.IsHeldByOther()) return ReportLost(reporter, request, answer.HolderText());
  if (!store.HoldsLock(request.object)) return static_cast<ExitStatus>(exit);
  Failure failure = LockTableFailure(store);
  failure.what = "the lock could not be released: " + failure.what;
  reporter.Fail(request.object, failure);
  return failure.exit;
}

ExitStatus HoldLock(Store& store, Reporter& reporter, const LockRequest& request) {
  bool reported = false;
  const LossReport report = [&](const std::string& reason) {
    reported = true;
    const bool runs = !request.command.empty();
    ReportLost(reporter, request, reason + (runs ? std::string("; ") + kEndOnLoss : ""));
  };
  const WaitsElsewhere waits;  // for a command or a user
  LockWatch watch(store, request.object);
  const int exit = request.command.empty() ? HoldUntilInputEnds(watch, report)
                                           : HoldWhileRunning(request.command, watch, reporter, report);
  const bool answered = watch.Finish();
  const bool lost = watch.IsLost();
  if (lost && !reported) ReportLost(reporter, request, watch.Reason());
  if (!answered) {  // closing the connection would block too
    std::fflush(stdout);
    std::_Exit(kUnreachable);
  }
  return lost ? kUnreachable : Release(store, reporter, request, exit);
}

ExitStatus RunLock(const Options& options, Reporter& reporter, const LockRequest& request) {
  CheckObject(request.object);
  if (options.dry_run) return PreviewLock(options, reporter, request.object, request.held_exit);
  Store store(options, NoWorkingDirectory(options), Store::Use::kWork);
  if (!store.IsPresent()) throw Stop({}, PresenceFailure(store));
  const LockAnswer answer = LockWithin(store, reporter, request);
  if (answer.IsHeldByOther())
    return Refuse(reporter, request.object, answer, static_cast<ExitStatus>(request.held_exit));
  CheckHeld(store, request, answer);
  BlockEndingSignals();
  ReportLocked(reporter, request, answer);
  return HoldLock(store, reporter, request);
}

// State 0 is also returned if the table cannot be used. Then it does not say whether the row was removed.
void CheckReleased(Store& store, const std::string& object, const LockAnswer& answer) {
  const bool readable = store.Directory() == nullptr ||
                        store.Directory()->ListLocks([](const TVLStandingLock*, void*) {}, nullptr) == TVL_OK;
  if (answer.state == TVL_LOCK_OWN || store.HoldsLock(object) || !readable)
    throw Stop(object, LockTableFailure(store));
}

ExitStatus RunUnlock(const Options& options, Reporter& reporter, const std::string& object) {
  CheckObject(object);
  if (options.dry_run) return PreviewUnlock(options, reporter, object);
  Store store(options, NoWorkingDirectory(options), Store::Use::kWork);
  const LockAnswer answer = AskForUnlock(store, object);
  CheckReleased(store, object, answer);
  if (answer.IsHeldByOther()) return Refuse(reporter, object, answer, kHeld);
  PrintAnswer(reporter, object, answer, kDone);
  if (!reporter.PrintsJson()) reporter.PrintDone(object + ": not locked");
  return kDone;
}

void AddLockCommand(CLI::App& app, Invocation& invocation) {
  auto request = std::make_shared<LockRequest>();
  CLI::App& lock = AddCommand(
      app, "lock", "Hold the lock on an object", "lock", invocation,
      [request](const Options& options, Reporter& reporter) { return RunLock(options, reporter, *request); });
  AddText(lock, "NAME", request->object, "Name of the object, 1 to 32 bytes", "").required();
  lock.add_option("-w,--wait", request->patience,
                  "How long to wait while another client holds the lock (default: 0)")
      ->type_name("SECS")
      ->check(CLI::NonNegativeNumber.description(""));
  lock.add_option("-E,--held-exit", request->held_exit,
                  "Exit code when another client holds the lock (default: 4)")
      ->type_name("N")
      ->check(CLI::Range(0, kLargestExitCode).description(""));
  AddNames(lock, request->command, "Command to run while the lock is held", "CMD").required(false);
  lock.footer(std::string(R"(Holds the lock while the command runs and returns its exit code; without a
command, holds the lock until standard input ends. If tvl is killed, the command
is killed too. A lost lock is reported within a second; )") +
              kEndOnLossHelp + R"( Exit 4, or N of -E: another client holds the
lock. Exit 5: the lock table cannot be used or this client has no presence, so
the command was not run, or the lock was lost. Exit 126: the command cannot be
run. Exit 127: it does not exist.

Examples:
  tvl lock ORD1 -- vi order1.txt
  tvl lock -w 30 nightly -- ./nightly-run
  tvl lock ORD1                            hold the lock until )" +
              kEndOfInputKeys);
}

}  // namespace

void AddLockCommands(CLI::App& app, Invocation& invocation) {
  AddLockCommand(app, invocation);
  CLI::App& unlock =
      AddNamed(app, invocation, "unlock", "Release the lock on an object if this client holds it", "NAME",
               "Name of the object, 1 to 32 bytes", RunUnlock);
  unlock.get_option("NAME")->required();
  unlock.footer(
      "Exit 4: another client holds the lock. Exit 5: the lock table cannot be used.\n\nExamples:\n"
      "  tvl unlock ORD1");
}

}  // namespace tvl::cli
