#ifndef TVL_CLI_HELD_FILES_H
#define TVL_CLI_HELD_FILES_H

#include <string>
#include <vector>

namespace tvl::cli {

// A file that somebody keeps from being deleted, and what it is as far as its name tells.
struct HeldFile {
  std::string path;
  std::string what;
};

// The held files at and below `path`, links not followed: what a removal would stop at halfway.
[[nodiscard]] std::vector<HeldFile> HeldFilesAt(const std::string& path);

// "tmp/procs/x.tvp, marker of a live instance, and 2 more".
[[nodiscard]] std::string DescribeHeldFiles(const std::vector<HeldFile>& files);

}  // namespace tvl::cli

#endif
