#include <algorithm>
#include <charconv>
#include <cstdio>
#include <limits>
#include <new>
#include <string_view>
#include <system_error>
#include <vector>

#include "base/fixed_text.h"
#include "base/folder_walk.h"
#include "directory/state.h"

// Update packs: executables in the store's update directory, named prefix, number, suffix, ".exe".

namespace {

using std::string_view;

constexpr std::size_t kLongestSuffix = 3;

struct UpdatePack {
  char fileName[tvl::kMaxPath];
  char suffix[kLongestSuffix + 1];
  int number;
};

bool IsDigit(char character) {
  return character >= '0' && character <= '9';
}

// Converts digits to a number. Returns the largest int if the number is larger.
int NumberOf(string_view digits) {
  int number = 0;
  const auto [end, problem] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return problem == std::errc::result_out_of_range ? std::numeric_limits<int>::max() : number;
}

// Parses a file name from its right end. Returns false if it has no usable number.
bool ParsePack(string_view name, UpdatePack& pack) {
  const std::size_t point = name.rfind('.');
  if (point == string_view::npos || point == 0) return false;
  const string_view stem = name.substr(0, point);
  const auto last = std::find_if(stem.rbegin(), stem.rend(), IsDigit);
  if (last == stem.rend()) return false;
  const auto first = std::find_if_not(last, stem.rend(), IsDigit);
  pack.number = NumberOf(string_view(&*first.base(), static_cast<std::size_t>(first - last)));
  tvl::CopyCut(pack.suffix, string_view(stem).substr(static_cast<std::size_t>(stem.rend() - last)));
  tvl::CopyCut(pack.fileName, name);
  return pack.number > 0;
}

bool AppendPack(const UpdatePack& pack, CString& list) {
  char number[16];
  std::snprintf(number, sizeof number, "%d;", pack.number);
  const char* suffix = pack.suffix[0] == 0 ? " " : pack.suffix;
  return list.Append(number) != 0 && list.Append(suffix) != 0 && list.AppendChar(';') != 0 &&
         list.Append(pack.fileName) != 0 && list.AppendChar('|') != 0;
}

// Returns the packs that match `pattern`, sorted by number. May throw std::bad_alloc.
std::vector<UpdatePack> FindPacks(const tvl::PathText& pattern) {
  std::vector<UpdatePack> packs;
  if (!pattern.Fits()) return packs;
  for (tvl::FolderSearch search(pattern.Text()); search.IsOpen();) {
    UpdatePack pack = {};
    if (ParsePack(search.Found().cFileName, pack)) packs.push_back(pack);
    if (!search.Next()) break;
  }
  std::sort(packs.begin(), packs.end(),
            [](const UpdatePack& a, const UpdatePack& b) { return a.number < b.number; });
  return packs;
}

// Builds the search pattern for packs in a folder of the store, which may end in a backslash.
tvl::PathText PackPattern(const char* root, const char* folder, const char* prefix) {
  tvl::PathText pattern;
  pattern.Append(root).Append(folder);
  if (pattern.View().empty() || pattern.View().back() != '\\') pattern.Append("\\");
  pattern.Append(prefix).Append("*.exe");
  return pattern;
}

}  // namespace

int CTVLClientSmbOpr::GetUpdatePacks(char* prefix, int& count, CString& list) try {
  count = 0;
  list.Empty();
  if (updateDir[0] == 0) return TVL_OK;
  for (const UpdatePack& pack : FindPacks(PackPattern(state->serverRoot, updateDir, prefix))) {
    if (!AppendPack(pack, list)) break;
    ++count;
  }
  list.TrimRight('|');
  return TVL_OK;
} catch (const std::bad_alloc&) {
  return TVL_OK;
}

int CTVLClientSmbOpr::ListUpdatePacks(const char* prefix, UpdatePackCallback callback, void* userData) try {
  if (updateDir[0] == 0) return TVL_OK;
  for (const UpdatePack& pack : FindPacks(PackPattern(state->serverRoot, updateDir, prefix))) {
    const TVLUpdatePack reported = {pack.number, pack.suffix, pack.fileName};
    callback(&reported, userData);
  }
  return TVL_OK;
} catch (const std::bad_alloc&) {
  return TVL_OK;
}
