#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <stdexcept>
#include <utility>

#include <tvlclient/cstring.h>

namespace {

// Returns 1 if `change` succeeded, or 0 if memory ran out, which leaves a std::string unchanged.
template <typename Change>
int Try(Change change) noexcept try {
  change();
  return 1;
} catch (const std::bad_alloc&) {
  return 0;
} catch (const std::length_error&) {
  return 0;
}

const char* OrEmpty(const char* text) {
  return text == nullptr ? "" : text;
}

}  // namespace

CString::CString(const char* text) noexcept {
  Try([&] { text_ = OrEmpty(text); });
}

CString::CString(const CString& other) noexcept {
  Try([&] { text_ = other.text_; });
}

CString::CString(CString&& other) noexcept : text_(std::move(other.text_)) {}

CString& CString::operator=(const char* text) noexcept {
  Try([&] { text_ = OrEmpty(text); });
  return *this;
}

CString& CString::operator=(const CString& other) noexcept {
  if (this != &other) Try([&] { text_ = other.text_; });
  return *this;
}

CString& CString::operator=(CString&& other) noexcept {
  text_.swap(other.text_);
  return *this;
}

int CString::Format(const char* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  std::string made;  // the arguments may point into the old text
  const int done = length < 0 ? 0 : Try([&] {
    made.resize(static_cast<std::size_t>(length));
    std::vsnprintf(made.data(), made.size() + 1, format, again);
  });
  va_end(again);
  va_end(arguments);
  if (done != 0) text_.swap(made);
  return done;
}

int CString::Append(const char* text) noexcept {
  return Try([&] { text_ += OrEmpty(text); });
}

int CString::AppendChar(char character) noexcept {
  return Try([&] { text_ += character; });
}

CString& CString::TrimRight(char character) noexcept {
  text_.resize(text_.find_last_not_of(character) + 1);
  return *this;
}

CString& CString::TrimRight() noexcept {
  text_.resize(text_.find_last_not_of(" \t\r\n") + 1);
  return *this;
}

void CString::Empty() noexcept {
  text_.clear();
}
