#include "engine/sqlite/void_header.h"

#include <sqlite3.h>

#include <algorithm>

namespace tvl::engine {
namespace {

using std::string_view;

constexpr string_view kMark("TVLVOID1", 8);
constexpr std::size_t kStampAt = kJournalHeader - sizeof(Stamp);
constexpr std::size_t kMarkAt = kStampAt - kMark.size();

}  // namespace

VoidHeader MakeVoidHeader() {
  VoidHeader header = {};
  kMark.copy(&header[kMarkAt], kMark.size());
  sqlite3_randomness(sizeof(Stamp), &header[kStampAt]);
  return header;
}

std::optional<Stamp> StampOf(string_view header) {
  if (header.size() < kJournalHeader || header[0] != 0 || !header.substr(kMarkAt).starts_with(kMark))
    return std::nullopt;
  Stamp stamp = {};
  std::copy_n(&header[kStampAt], stamp.size(), stamp.begin());
  return stamp;
}

}  // namespace tvl::engine
