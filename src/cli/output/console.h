#ifndef TVL_CLI_OUTPUT_CONSOLE_H
#define TVL_CLI_OUTPUT_CONSOLE_H

#include <mutex>
#include <string>

namespace tvl::cli {

// Standard output and standard error, with a progress line at the bottom of the terminal that moves out of
// the way of other output. Safe to use from any thread.
class Console {
 public:
  Console() = default;
  ~Console() { HideBar(); }
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  void Out(const std::string& line);
  void Err(const std::string& line);

  // Shows `line` as the progress line. It must fit the terminal's width.
  void ShowBar(const std::string& line);
  void HideBar();

 private:
  void ClearBar();

  std::mutex mutex_;
  bool bar_shown_ = false;
};

}  // namespace tvl::cli

#endif
