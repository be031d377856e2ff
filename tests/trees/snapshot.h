#ifndef TVL_TESTS_TREES_SNAPSHOT_H
#define TVL_TESTS_TREES_SNAPSHOT_H

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

// A tree on disk: relative names with "dir", "link TARGET" or "file CONTENTS".
using Snapshot = std::map<std::string, std::string>;

inline Snapshot SnapshotOf(const std::filesystem::path& root) {
  namespace fs = std::filesystem;
  Snapshot snapshot;
  if (!fs::is_directory(root)) return snapshot;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
    std::string& what = snapshot[entry.path().lexically_relative(root).string()];
    if (entry.is_symlink()) {
      what = "link " + fs::read_symlink(entry.path()).string();
    } else if (entry.is_directory()) {
      what = "dir";
    } else {
      std::ifstream file(entry.path(), std::ios::binary);
      what = "file " + std::string(std::istreambuf_iterator<char>(file), {});
    }
  }
  return snapshot;
}

#endif
