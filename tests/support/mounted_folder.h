#ifndef TVL_TESTS_SUPPORT_MOUNTED_FOLDER_H
#define TVL_TESTS_SUPPORT_MOUNTED_FOLDER_H

#include <sys/mount.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

// A small disk in memory, if the user may mount one. It can be full or read-only.
class MountedFolder {
 public:
  MountedFolder(const std::string& path, const char* options) : path_(path) {
    std::filesystem::create_directory(path_);
    mounted_ = mount("tmpfs", path_.c_str(), "tmpfs", 0, options) == 0;
  }
  MountedFolder(const MountedFolder&) = delete;
  MountedFolder& operator=(const MountedFolder&) = delete;
  ~MountedFolder() {
    if (mounted_) umount2(path_.c_str(), MNT_DETACH);
  }

  [[nodiscard]] bool IsMounted() const { return mounted_; }
  [[nodiscard]] const std::string& Path() const { return path_; }

  // No file on it may be open for writing.
  [[nodiscard]] bool MakeReadOnly() const {
    return mount(nullptr, path_.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
  }

  // Fills all space except `left` bytes.
  void FillUp(std::size_t left) const {
    FreeUp();
    const std::uintmax_t room = std::filesystem::space(path_).available;
    std::ofstream(Filler()) << std::string(static_cast<std::size_t>(room > left ? room - left : 0), 'f');
  }
  void FreeUp() const { std::filesystem::remove(Filler()); }

 private:
  [[nodiscard]] std::string Filler() const { return path_ + "/filler"; }

  std::string path_;
  bool mounted_;
};

#endif
