#include "cli/locks/lock_holder.h"

#include <winsock2.h>
// After winsock2.h.
#include <mstcpip.h>
#include <windows.h>

#include <cerrno>
#include <memory>
#include <thread>

#include "cli/output/exit_status.h"
#include "cli/output/failure.h"
#include "cli/output/terminal.h"
#include "cli/windows/handle.h"
#include "cli/windows/job.h"
#include "platform/windows/native_errors.h"

namespace tvl::cli {

const char* const kEndOnLoss = "the command and what it has started are ended";
const char* const kEndOnLossHelp = "the command is\nended with what it has started.";

namespace {

constexpr DWORD kBetweenLooks = 200;  // ms
constexpr DWORD kTimeToEnd = 10000;   // ms; the system ends a process that takes longer to close
constexpr UINT kEndedExit = 137;      // as a killed command has it on other systems
constexpr int kNoSuchProgram = 127;
constexpr int kCannotRun = 126;
constexpr char kEndOfInput = '\x1a';  // Ctrl-Z, as the console passes it on

HANDLE NewEvent() {
  return CreateEventW(nullptr, TRUE, FALSE, nullptr);
}

// Signalled when the user or the system wants this process to end. Never closed, because a handler may use it
// until the process has ended.
HANDLE EndEvent() {
  static const HANDLE event = NewEvent();
  return event;
}

// The command is in the same console and gets the event itself. When the handler of a closed console returns,
// the process ends, so it waits for the lock to be released.
BOOL WINAPI NoteEnd(DWORD event) {
  SetEvent(EndEvent());
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) Sleep(kTimeToEnd);
  return TRUE;
}

// Makes the system notice soon that the server or the network has disappeared. Later, the server may have
// given the lock to another client.
void ProbeConnection(int socket) {
  tcp_keepalive settings = {1, 4000, 2000};
  DWORD unused = 0;
  WSAIoctl(static_cast<SOCKET>(socket), SIO_KEEPALIVE_VALS, &settings, sizeof settings, nullptr, 0, &unused,
           nullptr, nullptr);
}

// Starts the watch. Returns the event that it signals on a loss.
std::shared_ptr<const Handle> StartWatch(LockWatch& watch) {
  if (const std::optional<int> connection = watch.Connection()) ProbeConnection(*connection);
  auto loss = std::make_shared<const Handle>(NewEvent());
  watch.Start([loss] { SetEvent(loss->Get()); });
  return loss;
}

int ReportCannotRun(Reporter& reporter, const std::string& name, unsigned long code) {
  const int problem = code == ERROR_BAD_EXE_FORMAT ? ENOEXEC : native::ErrnoOf(code);
  const int exit = problem == ENOENT ? kNoSuchProgram : kCannotRun;
  reporter.Fail(name, {static_cast<ExitStatus>(exit), 0, "cannot be run", problem});
  return exit;
}

// Reads standard input to its end.
void DrainInput() {
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  const bool is_console = IsTerminal(Stream::kInput);
  char bytes[4096];
  DWORD count = 0;
  while (ReadFile(input, bytes, sizeof bytes, &count, nullptr) != 0 && count > 0) {
    if (is_console && bytes[0] == kEndOfInput) return;
  }
}

// Returns an event that is signalled at the end of standard input. A read cannot be interrupted, so its
// thread may run until the process ends.
std::shared_ptr<const Handle> WatchInput() {
  auto end = std::make_shared<const Handle>(NewEvent());
  std::thread([end] {
    DrainInput();
    SetEvent(end->Get());
  }).detach();
  return end;
}

}  // namespace

void BlockEndingSignals() {
  EndEvent();
  SetConsoleCtrlHandler(NoteEnd, TRUE);
}

int HoldWhileRunning(const std::vector<std::string>& command, LockWatch& watch, Reporter& reporter,
                     const LossReport& report) {
  Job job;
  if (const unsigned long problem = job.Start(command))
    return ReportCannotRun(reporter, command.front(), problem);
  reporter.LeaveOutput();
  const std::shared_ptr<const Handle> loss = StartWatch(watch);
  bool ends = false;
  for (;;) {
    const HANDLE events[] = {job.Process(), loss->Get()};
    if (WaitForMultipleObjects(ends ? 1 : 2, events, FALSE, kBetweenLooks) == WAIT_OBJECT_0)
      return job.Finish();
    if (ends || !watch.IsLost()) continue;
    report(watch.Reason());
    job.End(kEndedExit);
    ends = true;
  }
}

int HoldUntilInputEnds(LockWatch& watch, const LossReport& report) {
  const std::shared_ptr<const Handle> loss = StartWatch(watch);
  const std::shared_ptr<const Handle> input = WatchInput();
  for (;;) {
    const HANDLE events[] = {input->Get(), EndEvent(), loss->Get()};
    const DWORD which = WaitForMultipleObjects(3, events, FALSE, kBetweenLooks);
    if (watch.IsLost()) {
      report(watch.Reason());
      return kUnreachable;
    }
    if (which == WAIT_OBJECT_0 + 1) return kInterrupted;
    if (which == WAIT_OBJECT_0) return kDone;
  }
}

}  // namespace tvl::cli
