#ifndef TVL_STORE_BACKUP_WINDOWS_SOURCE_STATE_H
#define TVL_STORE_BACKUP_WINDOWS_SOURCE_STATE_H

#include <optional>
#include <string>

#include "platform/windows/open_file.h"
#include "store/backup/source_file.h"

namespace tvl {

struct SourceFile::State {
  std::string path;
  std::optional<OpenFile> file;
  FileVersion version;  // at the time of opening
  int problem = 0;
};

// Reads until the buffer is full or the file ends. Returns 0 or an errno value.
[[nodiscard]] int ReadBlock(native::Handle file, char* buffer, std::size_t most, std::uint64_t offset,
                            std::size_t& count);

}  // namespace tvl

#endif
