#ifndef TVL_STORE_BACKUP_SMALL_FILE_H
#define TVL_STORE_BACKUP_SMALL_FILE_H

#include <cstddef>
#include <string>

// Functions return 0 or an errno value.

namespace tvl {

constexpr std::size_t kLargestSmallFile = std::size_t{16} << 20;

struct SmallFile {
  std::string contents;
  unsigned int mode = 0600;  // only where the system has modes
};

// Fails with EFBIG if the file is larger than kLargestSmallFile.
[[nodiscard]] int ReadSmallFile(const std::string& path, SmallFile& file);

enum class CreateStep { kCreate, kWrite };

// Creates a file that does not exist. Stores the step that failed.
[[nodiscard]] int CreateSmallFile(const std::string& path, const SmallFile& file, CreateStep& step);

}  // namespace tvl

#endif
