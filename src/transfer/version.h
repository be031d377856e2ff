#ifndef TVL_TRANSFER_VERSION_H
#define TVL_TRANSFER_VERSION_H

#include <string>

namespace tvl {

// Version and build of a program or a store: version 53 means 5.3, build 110423 means 23 April 2011.
struct Version {
  int version;
  int build;
};

// Reads version and build from the version resource of an executable; missing ones become 0. Returns false if
// there is no usable resource.
[[nodiscard]] bool ReadExecutableVersion(const char* path, Version& result);

// Reads version and build from the first 1023 bytes of a store's version file. Returns false if it cannot be
// read or is empty.
[[nodiscard]] bool ReadFileVersion(const char* path, Version& result);

// Reads the version of an executable as a text, with every run of other characters between or after the
// digits replaced by a point. Returns false as above.
[[nodiscard]] bool ReadExecutableVersionText(const char* path, std::string& text);

}  // namespace tvl

#endif
