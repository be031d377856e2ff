#ifndef TVL_TESTS_SUPPORT_TEMP_FOLDER_H
#define TVL_TESTS_SUPPORT_TEMP_FOLDER_H

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/system.h"

// A temporary folder for a test, removed with its contents at the end. Names are relative to it, with
// slashes.
class TempFolder {
 public:
  explicit TempFolder(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
    std::string pattern = (parent / "tvl_test_XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
    root_ = std::filesystem::canonical(pattern).string();
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  // A parent folder in memory, where syncing is fast, for tests with thousands of transactions in which
  // processes are killed, but not the machine.
  static std::filesystem::path Memory() {
    const std::filesystem::path memory = "/dev/shm";
    return access(memory.string().c_str(), W_OK) == 0 ? memory : std::filesystem::temp_directory_path();
  }

  std::string Host(const std::string& name = "") const { return name.empty() ? root_ : root_ + "/" + name; }

  // Returns the path with backslashes.
  std::string Logical(const std::string& name = "") const {
    std::string path = Host(name);
    std::replace(path.begin(), path.end(), '/', '\\');
    return path;
  }

  void Make(const std::string& name) const { std::filesystem::create_directories(Host(name)); }

  void Write(const std::string& name, const std::string& bytes) const {
    std::filesystem::create_directories(std::filesystem::path(Host(name)).parent_path());
    std::ofstream(Host(name), std::ios::binary) << bytes;
  }

  std::string Read(const std::string& name) const {
    std::ifstream file(Host(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  bool Exists(const std::string& name) const {
    std::error_code ignored;
    return std::filesystem::exists(std::filesystem::symlink_status(Host(name), ignored));
  }

  // Follows links. All 0 if there is no such file.
  FileInfo Status(const std::string& name) const { return InfoOf(Host(name)); }

  void SetTimes(const std::string& name, timespec accessed, timespec written) const {
    SetTimesOf(Host(name), accessed, written);
  }

  // Returns every name below `folder`, sorted.
  std::vector<std::string> Tree(const std::string& folder = "") const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(Host(folder))) {
      names.push_back(entry.path().lexically_relative(Host(folder)).generic_string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

 private:
  std::string root_;
};

#endif
