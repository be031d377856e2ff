#ifndef TVL_STORE_DATA_FILES_H
#define TVL_STORE_DATA_FILES_H

#include <cstdint>
#include <string>
#include <vector>

namespace tvl {

struct DataFile {
  std::string path;
  std::uint64_t inode = 0;
};

// Returns the data files of tables in the folders and below them, in the order of their paths. Links are
// followed. Throws std::filesystem::filesystem_error for a folder that cannot be read, since the caller would
// mistake the tables in it for missing ones.
[[nodiscard]] std::vector<DataFile> FindDataFiles(const std::vector<std::string>& folders);

}  // namespace tvl

#endif
