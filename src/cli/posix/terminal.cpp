#include "cli/output/terminal.h"

#include <locale.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <wchar.h>

namespace tvl::cli {
namespace {

constexpr int kDescriptors[] = {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};  // by Stream

}  // namespace

const char* const kEndOfInputKeys = "Ctrl-D";

bool IsTerminal(Stream stream) {
  return isatty(kDescriptors[static_cast<std::size_t>(stream)]) == 1;
}

std::optional<std::size_t> TerminalColumns() {
  winsize size = {};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return std::nullopt;
  return size.ws_col;
}

void WriteErrors(std::string_view text) {
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
}

// Asks the system in a UTF-8 locale. The program's own locale stays "C", in which patterns match any bytes.
int CharacterColumns(char32_t code_point) {
  static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  if (utf8 == nullptr) return 1;
  const locale_t before = uselocale(utf8);
  const int width = wcwidth(static_cast<wchar_t>(code_point));
  uselocale(before);
  return width;
}

}  // namespace tvl::cli
