#include "engine/pointer.h"

#include <algorithm>
#include <charconv>

#include "store/table_kind.h"

namespace tvl::engine {
namespace {

using std::string_view;

constexpr string_view kHead = "TVLTABLE 1\nengine=postgresql\nid=";
constexpr string_view kEnd = "end\n";  // an incomplete file has none
static_assert(kHead.starts_with(kPointerMark));

bool IsHexDigit(char letter) {
  return (letter >= '0' && letter <= '9') || (letter >= 'a' && letter <= 'f');
}

// Removes "name=number\n" from the start of `text`. Returns the number, or -1.
int TakeNumber(string_view& text, string_view name) {
  int number = -1;
  if (!text.starts_with(name)) return -1;
  text.remove_prefix(name.size());
  const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (problem != std::errc()) return -1;
  text.remove_prefix(std::min(text.size(), static_cast<std::size_t>(end - text.data()) + 1));
  return number;
}

}  // namespace

bool IsTableId(string_view text) {
  return text.size() == kTableIdLength && std::all_of(text.begin(), text.end(), IsHexDigit);
}

bool IsPointer(string_view bytes) {
  return bytes.starts_with(kPointerMark);
}

// The result is compared with the text that it would be written as, so that no other spelling is accepted.
std::optional<Pointer> ParsePointer(string_view text) {
  if (!text.starts_with(kHead)) return std::nullopt;
  string_view rest = text.substr(kHead.size());
  Pointer pointer;
  pointer.id = rest.substr(0, kTableIdLength);
  rest.remove_prefix(std::min(rest.size(), kTableIdLength + 1));
  pointer.layout.record = TakeNumber(rest, "record=");
  pointer.layout.key1 = TakeNumber(rest, "key1=");
  pointer.layout.key2 = TakeNumber(rest, "key2=");
  if (!IsTableId(pointer.id) || !pointer.layout.IsValid() || TextOf(pointer) != text) return std::nullopt;
  return pointer;
}

std::string TextOf(const Pointer& pointer) {
  std::string text(kHead);
  text += pointer.id;
  text += "\nrecord=" + std::to_string(pointer.layout.record);
  text += "\nkey1=" + std::to_string(pointer.layout.key1);
  text += "\nkey2=" + std::to_string(pointer.layout.key2);
  text += '\n';
  text += kEnd;
  return text;
}

}  // namespace tvl::engine
