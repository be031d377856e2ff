#ifndef TVL_CLI_HELD_FILES_H
#define TVL_CLI_HELD_FILES_H

#include <string>
#include <vector>

#include <tvlclient/store.h>

namespace tvl::cli {

// A file that a process protects from deletion.
struct HeldFile {
  std::string path;
  TVL_FILE_KIND kind;
};

// Finds the held files at and below `path`, without following links. A removal would stop at them halfway.
[[nodiscard]] std::vector<HeldFile> HeldFilesAt(const std::string& path);

// Returns a text such as "tmp/procs/x.tvp, the marker of a live client, and 2 more".
[[nodiscard]] std::string DescribeHeldFiles(const std::vector<HeldFile>& files);

}  // namespace tvl::cli

#endif
