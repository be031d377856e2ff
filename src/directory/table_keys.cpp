#include "directory/table_keys.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr char kItemEnd = '\x01';
constexpr char kEntryEnd = '\x02';

}  // namespace

namespace tvl {

ReadList::ReadList(const char* text) : rest_(text, strnlen(text, kLongest)) {}

std::string_view ReadList::Next() {
  rest_.remove_prefix(std::min(rest_.find_first_not_of(kItemEnd), rest_.size()));
  const std::string_view item = rest_.substr(0, rest_.find(kItemEnd));
  rest_.remove_prefix(item.size());
  return item;
}

bool TakeDeleteEntry(char*& list, DeleteEntry& entry) {
  char* separator = std::strchr(list, kItemEnd);
  if (separator == nullptr) return false;
  *separator = 0;
  entry.key1 = list;
  entry.key2 = separator + 1;
  char* end = std::strchr(entry.key2, kEntryEnd);
  list = end == nullptr ? entry.key2 + std::strlen(entry.key2) : end + 1;
  if (end != nullptr) *end = 0;
  return true;
}

}  // namespace tvl

char* KeyStrcpy(char* destination, const char* key, int length) {
  if (*key == 0) return nullptr;
  const auto width = static_cast<std::size_t>(length);
  const std::size_t copied = strnlen(key, width);
  std::memcpy(destination, key, copied);
  std::memset(destination + copied, ' ', width - copied);
  destination[length] = 0;
  return destination;
}
