#ifndef TVL_TESTS_CLIENT_WALK_RECORDER_H
#define TVL_TESTS_CLIENT_WALK_RECORDER_H

#include <string>
#include <utility>
#include <vector>

#include <tvlclient/smb_opr.h>

#include "platform/files.h"
#include "support/temp_folder.h"

// What a walk tells its callback: paths below a folder with slashes, sizes, and whether the path was still
// there.
struct Told {
  std::string path;
  unsigned int size;
  bool there;
  friend bool operator==(const Told&, const Told&) = default;
};

inline std::ostream& operator<<(std::ostream& stream, const Told& told) {
  return stream << told.path << ":" << told.size << (told.there ? "" : " gone");
}

class WalkRecorder {
 public:
  explicit WalkRecorder(const TempFolder& folder) : base_(folder.Logical().size() + 1) {}

  static void Callback(char* path, unsigned int size, void* recorder) {
    static_cast<WalkRecorder*>(recorder)->Note(path, size);
  }

  std::vector<Told> Take() { return std::exchange(told_, {}); }

 private:
  void Note(const std::string& path, unsigned int size) {
    std::string name = path.substr(base_);
    std::replace(name.begin(), name.end(), '\\', '/');
    told_.push_back({name, size, GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES});
  }

  std::size_t base_;
  std::vector<Told> told_;
};

#endif
