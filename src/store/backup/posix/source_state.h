#ifndef TVL_STORE_BACKUP_POSIX_SOURCE_STATE_H
#define TVL_STORE_BACKUP_POSIX_SOURCE_STATE_H

#include <sys/stat.h>

#include "host/descriptor.h"
#include "store/backup/source_file.h"

namespace tvl {

struct SourceFile::State {
  Descriptor file;
  struct stat status = {};  // at the time of opening
  int problem = 0;
};

// Reads once. Returns 0 or an errno value.
[[nodiscard]] int ReadBlock(int file, char* buffer, std::size_t most, std::uint64_t offset,
                            std::size_t& count);

}  // namespace tvl

#endif
