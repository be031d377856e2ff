#include "cli/output/bar.h"

#include <chrono>
#include <utility>

#include "cli/output/terminal.h"
#include "cli/output/text.h"

namespace tvl::cli {
namespace {

constexpr auto kInterval = std::chrono::milliseconds(200);
constexpr std::size_t kUsualColumns = 80;

}  // namespace

Bar::Bar(Console& console, Text text) : console_(console), text_(std::move(text)) {
  ticker_.emplace(kInterval, [this] { Draw(); });
}

Bar::~Bar() {
  ticker_.reset();
  console_.HideBar();
}

void Bar::Draw() {
  // Leaves the last column free, because terminals wrap when it is written.
  const std::size_t columns = TerminalColumns().value_or(kUsualColumns) - 1;
  console_.ShowBar(CutToColumns(text_(columns), columns));
}

}  // namespace tvl::cli
