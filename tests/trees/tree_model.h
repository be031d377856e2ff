#ifndef TVL_TESTS_TREES_TREE_MODEL_H
#define TVL_TESTS_TREES_TREE_MODEL_H

#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <string>

#include "trees/snapshot.h"

// A folder tree in memory, from which trees on disk are made and with which they are compared.
struct Node {
  bool is_folder = false;
  std::string bytes;
  long modified = 0;  // of a file, in seconds
  std::map<std::string, Node> entries;
};

// A random tree of few names, so that two of them often have the same name for different things.
Node RandomTree(std::mt19937& random, int depth);

// Takes out names that others are alike but for case.
void DropTwins(Node& tree);

// Puts the tree on disk below an existing folder.
void Write(const Node& tree, const std::filesystem::path& folder);

Snapshot SnapshotOf(const Node& tree, const std::string& prefix = "");

// What a synchronisation is to make of a target.
struct SyncModel {
  int policy;    // 0 dumb, 1 hash, 2 time
  bool plain;    // files are copied with their time
  int excluded;  // SYNC_DIR_FILE_EXCLUDE
  int copied = 0;
  int failed = 0;

  void Apply(const Node& source, Node& target);

 private:
  [[nodiscard]] bool IsExcluded(const std::string& name) const;
  [[nodiscard]] bool CountsAsEqual(const Node& source, const Node& target) const;
  void ApplyFile(const Node& source, Node& target, const std::string& name, bool folder_is_new);
  void CountLostFiles(const Node& folder, bool is_there);
};

#endif
