#include "cli/windows/arguments.h"

#include <windows.h>
// These need windows.h.
#include <shellapi.h>
#include <shlwapi.h>

#include <algorithm>
#include <string_view>

namespace tvl::cli {
namespace {

constexpr std::wstring_view kWildcards = L"*?";
// What a wildcard in quotes is until the arguments are parsed: characters that are never in a text.
constexpr std::wstring_view kQuoted = L"\xFDD0\xFDD1";

// Replaces each character in `from` by the one at the same place in `to`.
void Replace(wchar_t& character, std::wstring_view from, std::wstring_view to) {
  const std::size_t at = from.find(character);
  if (at != std::wstring_view::npos) character = to[at];
}

// An odd number of backslashes before a quote makes it an ordinary character.
std::wstring MarkQuoted(std::wstring line) {
  bool in_quotes = false;
  std::size_t backslashes = 0;
  for (wchar_t& character : line) {
    if (character == L'"' && backslashes % 2 == 0) in_quotes = !in_quotes;
    backslashes = character == L'\\' ? backslashes + 1 : 0;
    if (in_quotes) Replace(character, kWildcards, kQuoted);
  }
  return line;
}

std::wstring Unmark(std::wstring argument) {
  for (wchar_t& character : argument) Replace(character, kQuoted, kWildcards);
  return argument;
}

// A search by the system also compares with the short names of files, which users do not see.
bool IsMatch(const WIN32_FIND_DATAW& found, const std::wstring& pattern) {
  const std::wstring_view name = found.cFileName;
  return name != L"." && name != L".." &&
         PathMatchSpecExW(found.cFileName, pattern.c_str(), PMSF_DONT_STRIP_SPACES) == S_OK;
}

// Returns what a pattern matches, each name with the pattern's folder.
std::vector<std::wstring> MatchesOf(const std::wstring& argument) {
  const std::size_t name_at = argument.find_last_of(L"\\/:") + 1;
  const std::wstring folder = argument.substr(0, name_at);
  const std::wstring pattern = argument.substr(name_at);
  std::vector<std::wstring> matches;
  if (folder.find_first_of(kWildcards) != std::wstring::npos) return matches;
  WIN32_FIND_DATAW found = {};
  const HANDLE search = FindFirstFileW(argument.c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return matches;
  do {
    if (IsMatch(found, pattern)) matches.push_back(folder + found.cFileName);
  } while (FindNextFileW(search, &found) != 0);
  FindClose(search);
  std::sort(matches.begin(), matches.end());
  return matches;
}

void Add(const std::wstring& argument, std::vector<std::wstring>& arguments) {
  std::vector<std::wstring> matches;
  const bool has_quoted = argument.find_first_of(kQuoted) != std::wstring::npos;
  if (!has_quoted && argument.find_first_of(kWildcards) != std::wstring::npos) matches = MatchesOf(argument);
  if (matches.empty()) matches.push_back(Unmark(argument));
  arguments.insert(arguments.end(), matches.begin(), matches.end());
}

}  // namespace

std::vector<std::wstring> ArgumentsOf(const wchar_t* command_line) {
  int count = 0;
  wchar_t** const words = CommandLineToArgvW(MarkQuoted(command_line).c_str(), &count);
  std::vector<std::wstring> arguments;
  for (int index = 1; words != nullptr && index < count; ++index) Add(words[index], arguments);
  LocalFree(words);
  return arguments;
}

}  // namespace tvl::cli
