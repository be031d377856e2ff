#ifndef TVL_CLI_LOCAL_FILE_H
#define TVL_CLI_LOCAL_FILE_H

#include <cstddef>
#include <string>

// Local files that tvl itself reads and writes. All results are 0 or an errno value.

namespace tvl::cli {

struct LoadedFile {
  std::string text;
  bool is_regular = false;  // no pipe or device, whose contents may have been cut short
};

// What to do about a pipe that no program writes to yet.
enum class Pipe { kWait, kNoWait };

// Reads a whole file, or standard input. EFBIG: it has more than `most` bytes.
[[nodiscard]] int LoadFile(const std::string& path, Pipe pipe, std::size_t most, LoadedFile& file);
[[nodiscard]] int LoadStandardInput(std::size_t most, LoadedFile& file);

// Writes a file that must not exist, and waits until its contents are on the disk.
[[nodiscard]] int SaveNewFile(const std::string& path, const std::string& text);

// Renames a file. Replaces an existing one.
[[nodiscard]] int ReplaceFileBy(const std::string& part, const std::string& path);

int RemoveLocalFile(const std::string& path);

[[nodiscard]] int MakeLocalFolder(const std::string& path);

// What this user wants to do.
enum class Access {
  kRead,          // open the file for reading, without waiting for a pipe
  kWrite,         // write the file
  kReadAndWrite,  // both
  kChangeFolder,  // create and remove names in the folder
};
[[nodiscard]] int AccessProblem(const std::string& path, Access access);

}  // namespace tvl::cli

#endif
