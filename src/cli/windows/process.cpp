#include "cli/process.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "cli/windows/arguments.h"
#include "cli/windows/system.h"

namespace tvl::cli {
namespace {

unsigned int output_code_page = 0;
std::atomic<void (*)()> note_interrupt = nullptr;

void RestoreConsole() {
  SetConsoleOutputCP(output_code_page);
}

// The code page belongs to the console, which programs use after this one.
void ShowUtf8() {
  output_code_page = GetConsoleOutputCP();
  if (output_code_page == 0 || output_code_page == CP_UTF8) return;
  SetConsoleOutputCP(CP_UTF8);
  std::atexit(RestoreConsole);
}

// Without it, the console shows escape sequences as text.
void ObeyEscapeSequences(DWORD stream) {
  const HANDLE console = GetStdHandle(stream);
  DWORD mode = 0;
  if (GetConsoleMode(console, &mode) != 0)
    SetConsoleMode(console, mode | ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

BOOL WINAPI Interrupt(DWORD event) {
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) return FALSE;
  void (*const note)() = note_interrupt.exchange(nullptr);
  if (note != nullptr) note();
  return note != nullptr ? TRUE : FALSE;
}

}  // namespace

std::vector<std::string> StartProcess(int /*count*/, const char* const* /*arguments*/) {
  ShowUtf8();
  ObeyEscapeSequences(STD_OUTPUT_HANDLE);
  ObeyEscapeSequences(STD_ERROR_HANDLE);
  for (FILE* stream : {stdin, stdout, stderr}) _setmode(_fileno(stream), _O_BINARY);
  std::vector<std::string> arguments;
  for (const std::wstring& argument : ArgumentsOf(GetCommandLineW())) arguments.push_back(Utf8Of(argument));
  return arguments;
}

void OnInterrupt(void (*note)()) {
  note_interrupt = note;
  SetConsoleCtrlHandler(Interrupt, TRUE);
}

unsigned long ProcessNumber() {
  return GetCurrentProcessId();
}

// Handles have no limit that matters here.
void RaiseFileLimit() {}

}  // namespace tvl::cli
