#ifndef TVL_CLI_HELD_FILES_H
#define TVL_CLI_HELD_FILES_H

#include <string>
#include <vector>

namespace tvl::cli {

// A file that a process protects from deletion, and a description derived from its name.
struct HeldFile {
  std::string path;
  std::string what;
};

// Finds the held files at and below `path`, without following links. A removal would stop at them halfway.
[[nodiscard]] std::vector<HeldFile> HeldFilesAt(const std::string& path);

// Returns a text such as "tmp/procs/x.tvp, the marker of a live client, and 2 more".
[[nodiscard]] std::string DescribeHeldFiles(const std::vector<HeldFile>& files);

}  // namespace tvl::cli

#endif
