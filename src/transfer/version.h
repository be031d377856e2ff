#ifndef TVL_TRANSFER_VERSION_H
#define TVL_TRANSFER_VERSION_H

#include <string>

namespace tvl {

// Version and build of a program or a store: version 53 means 5.3, build 110423 means 23 April 2011.
struct Version {
  int version;
  int build;
};

// Reads the two from an executable's version resource. False if it has no usable one; what is missing in it
// is 0.
[[nodiscard]] bool ReadExecutableVersion(const char* path, Version& result);

// Reads them from a store's version file, of which the first 1023 bytes count. False if it can't be read or
// is empty.
[[nodiscard]] bool ReadFileVersion(const char* path, Version& result);

// The text of an executable's version: digits, with a point for whatever stood between or behind them. False
// as above.
[[nodiscard]] bool ReadExecutableVersionText(const char* path, std::string& text);

}  // namespace tvl

#endif
