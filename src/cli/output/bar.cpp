#include "cli/output/bar.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "cli/output/terminal.h"
#include "cli/output/text.h"

namespace tvl::cli {
namespace {

constexpr auto kInterval = std::chrono::milliseconds(200);
constexpr std::size_t kUsualColumns = 80;

}  // namespace

Bar::Bar(Console& console, Text text)
    : console_(console),
      text_(std::move(text)),
      thread_([this](const std::stop_token& stop) { Draw(stop); }) {}

Bar::~Bar() {
  thread_.request_stop();
  thread_.join();
  console_.HideBar();
}

void Bar::Draw(const std::stop_token& stop) {
  std::mutex own;
  std::unique_lock lock(own);
  std::condition_variable_any wake;
  while (!wake.wait_for(lock, stop, kInterval, [&] { return stop.stop_requested(); })) {
    // Leaves the last column free, because terminals wrap when it is written.
    const std::size_t columns = TerminalColumns().value_or(kUsualColumns) - 1;
    console_.ShowBar(CutToColumns(text_(columns), columns));
  }
}

}  // namespace tvl::cli
