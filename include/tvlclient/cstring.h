#ifndef TVLCLIENT_CSTRING_H
#define TVLCLIENT_CSTRING_H

#include <string>

#include <tvlclient/export.h>

// A growing byte text, used for results of unknown length.
//
// No function throws. If memory runs out, an operation returns 0 and leaves the text unchanged. One object
// serves one thread at a time. Pointers into the text are valid until it changes.
class TVL_API CString {
 public:
  CString() noexcept = default;
  CString(const char* text) noexcept;  // NOLINT(google-explicit-constructor): callers pass plain texts
  CString(const CString& other) noexcept;
  CString(CString&& other) noexcept;
  ~CString() = default;

  CString& operator=(const char* text) noexcept;
  CString& operator=(const CString& other) noexcept;
  CString& operator=(CString&& other) noexcept;

  // Replaces the text with the output of printf for `format`. Returns 1, or 0 if memory ran out.
  int Format(const char* format, ...) noexcept __attribute__((format(printf, 2, 3)));

  // Append `text`, or one character. A null `text` appends nothing. Return 1, or 0 if memory ran out.
  int Append(const char* text) noexcept;
  int AppendChar(char character) noexcept;

  // Remove every trailing `character`, or trailing blanks, tabs and line ends.
  CString& TrimRight(char character) noexcept;
  CString& TrimRight() noexcept;

  void Empty() noexcept;

  const char* GetString() const noexcept { return text_.c_str(); }
  int GetLength() const noexcept { return static_cast<int>(text_.size()); }
  int IsEmpty() const noexcept { return text_.empty() ? 1 : 0; }
  operator const char*() const noexcept { return text_.c_str(); }  // NOLINT(google-explicit-constructor)

 private:
  std::string text_;
};

#endif
