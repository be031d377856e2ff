#include "cli/output/console.h"

#include <cstdio>

#include "cli/stall_watch.h"

namespace tvl::cli {
namespace {

constexpr char kClearLine[] = "\r\x1b[K";

}  // namespace

void Console::Out(const std::string& line) {
  const WaitsElsewhere waits;  // for the reader
  const std::lock_guard lock(mutex_);
  ClearBar();
  std::fputs((line + "\n").c_str(), stdout);
}

void Console::Err(const std::string& line) {
  const WaitsElsewhere waits;
  const std::lock_guard lock(mutex_);
  ClearBar();
  std::fflush(stdout);  // keeps the order of both streams if they go to one place
  std::fputs((line + "\n").c_str(), stderr);
}

void Console::ShowBar(const std::string& line) {
  const std::lock_guard lock(mutex_);
  std::fflush(stdout);
  std::fputs((kClearLine + line).c_str(), stderr);
  bar_shown_ = true;
}

void Console::HideBar() {
  const std::lock_guard lock(mutex_);
  ClearBar();
}

void Console::ClearBar() {
  if (!bar_shown_) return;
  std::fputs(kClearLine, stderr);
  bar_shown_ = false;
}

}  // namespace tvl::cli
