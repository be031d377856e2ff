#ifndef TVL_TESTS_SUPPORT_TREE_H
#define TVL_TESTS_SUPPORT_TREE_H

#include <map>
#include <sstream>

#include "support/testing.h"

// A tree on disk: relative names with "dir", "link TARGET" or "file CONTENTS".
using Tree = std::map<string, string>;

inline Tree TreeOf(const fs::path& root) {
  Tree tree;
  if (!fs::is_directory(root)) return tree;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
    string& what = tree[entry.path().lexically_relative(root).generic_string()];
    if (entry.is_symlink()) {
      what = "link " + fs::read_symlink(entry.path()).string();
    } else if (entry.is_directory()) {
      what = "dir";
    } else {
      std::ifstream file(entry.path(), std::ios::binary);
      what = "file " + string(std::istreambuf_iterator<char>(file), {});
    }
  }
  return tree;
}

// Returns the tree of a description, which has a word for each name: "name/" is a folder, "name=contents" a
// file and "name>target" a link. The folders above a name need no words.
inline Tree Described(const string& description) {
  Tree tree;
  std::istringstream words(description);
  for (string word; words >> word;) {
    const std::size_t mark = word.find_first_of("=>");
    const string name = word.substr(0, std::min(mark, word.size() - 1));
    for (std::size_t end = name.find('/'); end != string::npos; end = name.find('/', end + 1))
      tree[name.substr(0, end)] = "dir";
    tree[name] =
        mark == string::npos ? "dir" : (word[mark] == '=' ? "file " : "link ") + word.substr(mark + 1);
  }
  return tree;
}

// Creates what is described next to what is there, except for links where the system does not have them.
// `prefix` comes before all names.
inline void Create(const TempFolder& folder, const string& prefix, const string& description) {
  for (const auto& [name, what] : Described(description)) {
    if (what == "dir") {
      folder.Make(prefix + name);
    } else if (what.starts_with("file ")) {
      folder.Write(prefix + name, what.substr(5));
    } else if (kHasLinks) {
      fs::create_symlink(what.substr(5), folder.Host(prefix + name));
    }
  }
}

inline void Create(const TempFolder& folder, const string& description) {
  Create(folder, "", description);
}

#endif
