#ifndef TVL_CLI_OUTPUT_BAR_H
#define TVL_CLI_OUTPUT_BAR_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "cli/output/console.h"
#include "cli/ticker.h"

namespace tvl::cli {

// A line at the bottom of the terminal that is drawn again and again by a separate thread, because the
// working thread may be inside the library for a long time.
class Bar {
 public:
  // Returns the text for a terminal of that many columns. Called on the thread of the bar.
  using Text = std::function<std::string(std::size_t columns)>;

  Bar(Console& console, Text text);
  ~Bar();
  Bar(const Bar&) = delete;
  Bar& operator=(const Bar&) = delete;

 private:
  void Draw();

  Console& console_;
  const Text text_;
  std::optional<Ticker> ticker_;  // last: it uses all of the above
};

}  // namespace tvl::cli

#endif
