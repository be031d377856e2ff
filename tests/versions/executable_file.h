#ifndef TVL_TESTS_VERSIONS_EXECUTABLE_FILE_H
#define TVL_TESTS_VERSIONS_EXECUTABLE_FILE_H

#include <optional>
#include <string>

// An executable file in memory that consists only of its headers and a version resource.
struct ExecutableFile {
  bool plus = false;  // PE32+ instead of PE32
  bool translation = true;
  std::optional<std::string> file_version;  // one byte per character
  std::optional<std::string> special_build;
  bool marked_as_bytes = false;  // both texts

  [[nodiscard]] std::string Bytes() const;
};

#endif
