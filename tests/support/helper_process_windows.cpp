#include <windows.h>

#include <cstdlib>
#include <utility>

#include "support/helper_process.h"

// The numbers that HelperProcess has for POSIX are handles here, which fit into them.

namespace {

HANDLE HandleOf(int number) {
  return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(number));
}

int NumberOf(HANDLE handle) {
  return static_cast<int>(reinterpret_cast<std::intptr_t>(handle));
}

// A pipe whose end `inherited` goes to the helper.
void CreatePipeFor(HANDLE& read_end, HANDLE& write_end, HANDLE& inherited) {
  if (CreatePipe(&read_end, &write_end, nullptr, 0) == 0) std::abort();
  SetHandleInformation(inherited, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
}

}  // namespace

HelperProcess::HelperProcess(std::vector<std::string> role_and_arguments) {
  HANDLE in = nullptr;
  HANDLE to_helper = nullptr;
  HANDLE from_helper = nullptr;
  HANDLE out = nullptr;
  CreatePipeFor(in, to_helper, in);
  CreatePipeFor(from_helper, out, out);
  char path[MAX_PATH];
  GetModuleFileNameA(nullptr, path, sizeof path);
  std::string command = "test --role";
  for (const std::string& argument : role_and_arguments) command += " \"" + argument + "\"";
  STARTUPINFOA start = {};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = in;
  start.hStdOutput = out;
  start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION started = {};
  if (CreateProcessA(path, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &started) ==
      0)
    std::abort();
  CloseHandle(started.hThread);
  CloseHandle(in);
  CloseHandle(out);
  process_ = NumberOf(started.hProcess);
  to_helper_ = NumberOf(to_helper);
  from_helper_ = NumberOf(from_helper);
}

HelperProcess::~HelperProcess() {
  if (process_ > 0) {
    Signal(SIGKILL);
    Wait();
  }
  CloseHandle(HandleOf(to_helper_));
  CloseHandle(HandleOf(from_helper_));
}

std::string HelperProcess::Hear() {
  std::string line;
  char character = 0;
  DWORD read = 0;
  while (ReadFile(HandleOf(from_helper_), &character, 1, &read, nullptr) != 0 && read == 1 &&
         character != '\n') {
    if (character != '\r') line += character;
  }
  return line;
}

void HelperProcess::Say(const std::string& line) {
  const std::string bytes = line + '\n';
  DWORD written = 0;
  WriteFile(HandleOf(to_helper_), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

// The system can only kill.
void HelperProcess::Signal(int signal) const {
  if (signal == SIGKILL) TerminateProcess(HandleOf(static_cast<int>(process_)), SIGKILL);
}

int HelperProcess::Wait() {
  HANDLE process = HandleOf(static_cast<int>(std::exchange(process_, -1)));
  DWORD code = 0;
  WaitForSingleObject(process, INFINITE);
  GetExitCodeProcess(process, &code);
  CloseHandle(process);
  return code == SIGKILL ? -SIGKILL : static_cast<int>(code);
}
