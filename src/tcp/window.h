#ifndef TVL_TCP_WINDOW_H
#define TVL_TCP_WINDOW_H

#include <algorithm>
#include <atomic>
#include <charconv>
#include <string>
#include <string_view>

// The transfer window: how many chunks of a get or a put may follow one that has not been answered. A window
// of 0 is the plain taking of turns.
//
// A client that wants one announces it in a fifth text of its handshake, and a server that grants one answers
// in a field after the last one of its reply. Both are `window=` and the number.
namespace tvl {

constexpr unsigned int kMostWindow = 8;
constexpr std::string_view kWindowText = "window=";

// The window that connections opened from now on announce, for all connections of the process; 0 announces
// none.
inline std::atomic<unsigned int> transfer_window = 0;

[[nodiscard]] inline std::string WindowText(unsigned int window) {
  return std::string(kWindowText) + std::to_string(window);
}

// The window in an announcement or its answer, kMostWindow at most; 0 for any other text.
[[nodiscard]] inline unsigned int ParseWindow(std::string_view text) {
  if (!text.starts_with(kWindowText)) return 0;
  text.remove_prefix(kWindowText.size());
  unsigned int window = 0;
  const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), window);
  if (problem != std::errc() || end != text.data() + text.size()) return 0;
  return std::min(window, kMostWindow);
}

}  // namespace tvl

#endif
