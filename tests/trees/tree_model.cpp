#include "trees/tree_model.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>

#include "base/text.h"

namespace {

constexpr const char* kNames[] = {"a",     "A",   "b.txt",    "c.doc", "C.DOC", "d.pdf",
                                  "e.mdb", " f ", "\xE0\xFF", ".g",    "h..",   "i.doc.bak"};

struct Extension {
  const char* text;
  int flag;
};
constexpr Extension kExtensions[] = {{".doc", 2}, {".pdf", 4}, {".mdb", 1}};

template <typename Predicate>
bool AnyName(const Node& folder, Predicate predicate) {
  return std::any_of(folder.entries.begin(), folder.entries.end(),
                     [&](const auto& entry) { return predicate(entry.first); });
}

}  // namespace

Node RandomTree(std::mt19937& random, int depth) {
  Node folder = {true, {}, 0, {}};
  for (const char* name : kNames) {
    const std::size_t dice = random() % 10;
    if (dice < 4) {
      folder.entries[name] = {false,
                              std::string(random() % 3, static_cast<char>('x' + random() % 2)),
                              1700000000 + static_cast<long>(random() % 2),
                              {}};
    } else if (dice < 6 && depth > 0) {
      folder.entries[name] = RandomTree(random, depth - 1);
    }
  }
  return folder;
}

void DropTwins(Node& tree) {
  for (auto& [name, node] : tree.entries) DropTwins(node);
  std::erase_if(tree.entries, [&](const auto& entry) {
    std::string lower = entry.first;
    tvl::ToLower(lower.data());
    return lower != entry.first && tree.entries.count(lower) > 0;
  });
}

void Write(const Node& tree, const std::filesystem::path& folder) {
  for (const auto& [name, node] : tree.entries) {
    const std::filesystem::path path = folder / name;
    if (node.is_folder) {
      std::filesystem::create_directory(path);
      Write(node, path);
      continue;
    }
    std::ofstream(path, std::ios::binary) << node.bytes;
    const timespec times[2] = {{node.modified, 0}, {node.modified, 0}};
    utimensat(AT_FDCWD, path.c_str(), times, 0);
  }
}

Snapshot SnapshotOf(const Node& tree, const std::string& prefix) {
  Snapshot snapshot;
  for (const auto& [name, node] : tree.entries) {
    snapshot[prefix + name] = node.is_folder ? "dir" : "file " + node.bytes;
    if (node.is_folder) snapshot.merge(SnapshotOf(node, prefix + name + "/"));
  }
  return snapshot;
}

bool SyncModel::IsExcluded(const std::string& name) const {
  const std::size_t point = name.rfind('.');
  if (point == std::string::npos) return false;
  return std::any_of(std::begin(kExtensions), std::end(kExtensions), [&](const Extension& extension) {
    return (excluded & extension.flag) != 0 && tvl::EqualNoCase(extension.text, name.c_str() + point);
  });
}

bool SyncModel::CountsAsEqual(const Node& source, const Node& target) const {
  if (policy == 0) return true;
  if (target.is_folder || source.bytes.size() != target.bytes.size()) return false;
  return policy == 1 ? source.bytes == target.bytes : source.modified == target.modified;
}

// Files below a folder in whose place the target has a file. That place counts as there, but nothing below
// it.
void SyncModel::CountLostFiles(const Node& folder, bool is_there) {
  for (const auto& [name, node] : folder.entries) {
    if (IsExcluded(name)) continue;
    if (node.is_folder) {
      CountLostFiles(node, false);
    } else if (policy != 0 || !is_there) {
      ++copied;
      ++failed;
    }
  }
}

void SyncModel::ApplyFile(const Node& source, Node& target, const std::string& name, bool folder_is_new) {
  const auto there = target.entries.find(name);
  const bool is_there = there != target.entries.end();
  if (!folder_is_new && (policy == 0 || (is_there && CountsAsEqual(source, there->second)))) return;
  ++copied;
  if (is_there && there->second.is_folder) {
    ++failed;
  } else {
    target.entries[name] = {false, source.bytes, plain ? source.modified : 0, {}};
  }
}

void SyncModel::Apply(const Node& source, Node& target) {
  const bool folder_is_new = !target.is_folder;
  target.is_folder = true;
  for (const auto& [name, node] : source.entries) {
    if (IsExcluded(name)) continue;
    if (!node.is_folder) {
      ApplyFile(node, target, name, folder_is_new);
    } else if (const auto there = target.entries.find(name);
               there != target.entries.end() && !there->second.is_folder) {
      CountLostFiles(node, true);
    } else {
      Apply(node, target.entries[name]);
    }
  }
  std::erase_if(target.entries, [&](const auto& entry) {
    const auto same = [&](const std::string& name) {
      return !IsExcluded(name) && tvl::EqualNoCase(name.c_str(), entry.first.c_str());
    };
    return !IsExcluded(entry.first) && !AnyName(source, same);
  });
}
