#ifndef TVLCLIENT_CSTRING_H
#define TVLCLIENT_CSTRING_H

#include <string>

#include <tvlclient/export.h>

// A text of bytes that grows: the type of results whose length nobody knows beforehand.
//
// Nothing throws. Where memory runs out the operation gives 0 and the text stays as it was. One object serves
// one thread at a time. Pointers into the text hold until it changes.
class TVL_API CString {
 public:
  CString() noexcept = default;
  CString(const char* text) noexcept;  // NOLINT(google-explicit-constructor): texts pass for it everywhere
  CString(const CString& other) noexcept;
  CString(CString&& other) noexcept;
  ~CString() = default;

  CString& operator=(const char* text) noexcept;
  CString& operator=(const CString& other) noexcept;
  CString& operator=(CString&& other) noexcept;

  // Replaces the text by `format` filled in as by printf. 1, or 0.
  int Format(const char* format, ...) noexcept __attribute__((format(printf, 2, 3)));

  // Puts `text` (null: nothing), or one character, behind what is there. 1, or 0.
  int Append(const char* text) noexcept;
  int AppendChar(char character) noexcept;

  // Cuts every `character` at the end, or blanks, tabs and line ends.
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
