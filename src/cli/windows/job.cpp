#include "cli/windows/job.h"

#include "cli/windows/system.h"

namespace tvl::cli {
namespace {

// Adds an argument as the C runtime parses it: backslashes are special only before a quote.
void Append(std::wstring& line, const std::wstring& argument) {
  if (!line.empty()) line += L' ';
  if (!argument.empty() && argument.find_first_of(L" \t\n\v\"") == std::wstring::npos) {
    line += argument;
    return;
  }
  line += L'"';
  std::size_t backslashes = 0;
  for (const wchar_t character : argument) {
    if (character == L'"') line.append(backslashes + 1, L'\\');
    backslashes = character == L'\\' ? backslashes + 1 : 0;
    line += character;
  }
  line.append(backslashes, L'\\');
  line += L'"';
}

}  // namespace

std::wstring CommandLineOf(const std::vector<std::string>& arguments) {
  std::wstring line;
  for (const std::string& argument : arguments) Append(line, WideOf(argument));
  return line;
}

Job::Job() : job_(CreateJobObjectW(nullptr, nullptr)) {}

bool Job::EndWithThisProcess(bool ends) {
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
  if (ends) limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  return SetInformationJobObject(job_.Get(), JobObjectExtendedLimitInformation, &limits, sizeof limits) != 0;
}

// The command starts suspended, so that it cannot start a process before it is in the job.
unsigned long Job::Start(const std::vector<std::string>& command) {
  if (!job_.IsOpen() || !EndWithThisProcess(true)) return GetLastError();
  std::wstring line = CommandLineOf(command);
  STARTUPINFOW start = {};
  start.cb = sizeof start;
  PROCESS_INFORMATION started = {};
  if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED, nullptr, nullptr, &start,
                     &started) == 0)
    return GetLastError();
  process_ = started.hProcess;
  const Handle thread(started.hThread);
  if (AssignProcessToJobObject(job_.Get(), process_) != 0) {
    ResumeThread(thread.Get());
    return 0;
  }
  const unsigned long problem = GetLastError();
  TerminateProcess(process_, 1);
  return problem;
}

void Job::End(unsigned int exit_code) {
  TerminateJobObject(job_.Get(), exit_code);
}

int Job::Finish() {
  static_cast<void>(EndWithThisProcess(false));
  DWORD code = 0;
  GetExitCodeProcess(process_, &code);
  return static_cast<int>(code);
}

}  // namespace tvl::cli
