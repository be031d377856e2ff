#ifndef TVL_ENGINE_POSIX_FOLDER_MODE_H
#define TVL_ENGINE_POSIX_FOLDER_MODE_H

#include <sys/types.h>

#include <string>

namespace tvl::engine {

constexpr mode_t kReadWriteBits = 0666;

// Sets the permissions of a new file to read and write as for its folder: everyone who may write in the
// folder must be able to use the table, regardless of the umask of this process.
void TakeModeOfFolder(int descriptor, const std::string& path);

}  // namespace tvl::engine

#endif
