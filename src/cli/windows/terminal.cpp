#include "cli/output/terminal.h"

#include <windows.h>

#include <iterator>

namespace tvl::cli {
namespace {

constexpr DWORD kHandles[] = {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};  // by Stream

struct CodePoints {
  char32_t first, last;
};

// What combines with the character before it, and what takes two columns, as far as names of files commonly
// have it. The system has no function for that.
constexpr CodePoints kCombining[] = {{0x300, 0x36F},   {0x483, 0x489},   {0x591, 0x5BD},   {0x610, 0x61A},
                                     {0x64B, 0x65F},   {0x6D6, 0x6DC},   {0x93C, 0x93C},   {0x94D, 0x94D},
                                     {0xE31, 0xE31},   {0xE34, 0xE3A},   {0xE47, 0xE4E},   {0x1AB0, 0x1AFF},
                                     {0x1DC0, 0x1DFF}, {0x200B, 0x200F}, {0x20D0, 0x20FF}, {0x302A, 0x302D},
                                     {0x3099, 0x309A}, {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}};
constexpr CodePoints kWide[] = {
    {0x1100, 0x115F},   {0x2E80, 0x303E},   {0x3041, 0x33FF},   {0x3400, 0x4DBF},
    {0x4E00, 0x9FFF},   {0xA000, 0xA4CF},   {0xA960, 0xA97F},   {0xAC00, 0xD7A3},
    {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},
    {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FF}, {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};

template <std::size_t Count>
bool Has(const CodePoints (&ranges)[Count], char32_t code_point) {
  for (const CodePoints& range : ranges) {
    if (code_point >= range.first && code_point <= range.last) return true;
  }
  return false;
}

HANDLE HandleOf(Stream stream) {
  return GetStdHandle(kHandles[static_cast<std::size_t>(stream)]);
}

}  // namespace

const char* const kEndOfInputKeys = "Ctrl-Z and Enter";

bool IsTerminal(Stream stream) {
  DWORD mode = 0;
  return GetConsoleMode(HandleOf(stream), &mode) != 0;
}

std::optional<std::size_t> TerminalColumns() {
  CONSOLE_SCREEN_BUFFER_INFO screen = {};
  if (GetConsoleScreenBufferInfo(HandleOf(Stream::kErrors), &screen) == 0) return std::nullopt;
  const int columns = screen.srWindow.Right - screen.srWindow.Left + 1;
  return columns > 0 ? std::optional<std::size_t>(columns) : std::nullopt;
}

void WriteErrors(std::string_view text) {
  DWORD written = 0;
  WriteFile(HandleOf(Stream::kErrors), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

int CharacterColumns(char32_t code_point) {
  if (code_point < 0x20 || (code_point >= 0x7F && code_point < 0xA0)) return -1;
  if (Has(kCombining, code_point)) return 0;
  return Has(kWide, code_point) ? 2 : 1;
}

}  // namespace tvl::cli
