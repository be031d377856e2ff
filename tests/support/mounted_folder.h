#ifndef TVL_TESTS_SUPPORT_MOUNTED_FOLDER_H
#define TVL_TESTS_SUPPORT_MOUNTED_FOLDER_H

#ifndef _WIN32
#include <sys/mount.h>
#endif

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
    mounted_ = Mount(path_, options);
  }
  MountedFolder(const MountedFolder&) = delete;
  MountedFolder& operator=(const MountedFolder&) = delete;
  ~MountedFolder() {
    if (mounted_) Unmount(path_);
  }

  [[nodiscard]] bool IsMounted() const { return mounted_; }
  [[nodiscard]] const std::string& Path() const { return path_; }

  // No file on it may be open for writing.
  [[nodiscard]] bool MakeReadOnly() const { return MakeMountReadOnly(path_); }

  // Fills all space except `left` bytes.
  void FillUp(std::size_t left) const {
    FreeUp();
    const std::uintmax_t room = std::filesystem::space(path_).available;
    std::ofstream(Filler()) << std::string(static_cast<std::size_t>(room > left ? room - left : 0), 'f');
  }
  void FreeUp() const { std::filesystem::remove(Filler()); }

 private:
#ifdef _WIN32
  static bool Mount(const std::string& /*path*/, const char* /*options*/) {
    return false;
  }
  static bool MakeMountReadOnly(const std::string& /*path*/) {
    return false;
  }
  static void Unmount(const std::string& /*path*/) {}
#else
  static bool Mount(const std::string& path, const char* options) {
    return mount("tmpfs", path.c_str(), "tmpfs", 0, options) == 0;
  }
  static bool MakeMountReadOnly(const std::string& path) {
    return mount(nullptr, path.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
  }
  static void Unmount(const std::string& path) {
    umount2(path.c_str(), MNT_DETACH);
  }
#endif

  [[nodiscard]] std::string Filler() const {
    return path_ + "/filler";
  }

  std::string path_;
  bool mounted_;
};

#endif
