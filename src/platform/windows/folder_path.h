#ifndef TVL_PLATFORM_WINDOWS_FOLDER_PATH_H
#define TVL_PLATFORM_WINDOWS_FOLDER_PATH_H

#include <string>

#include "platform/files.h"

namespace tvl {

// What the handle of a Folder points to.
struct FolderPath {
  std::string text;
};

[[nodiscard]] inline FolderPath* FolderPathOf(HANDLE folder) {
  return reinterpret_cast<FolderPath*>(folder);
}

}  // namespace tvl

#endif
