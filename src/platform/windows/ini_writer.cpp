#include <cerrno>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "platform/common/ini_change.h"
#include "platform/common/ini_edit.h"
#include "platform/common/retry.h"
#include "platform/held_file.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/windows/ini_contents.h"
#include "platform/windows/open_file.h"
#include "platform/windows/replace_file.h"
#include "store/layout.h"
#include "store/part_name.h"

// The system's own service is not used: it writes the file in place, and does not know about the turns that
// the writers on other systems take.

namespace tvl {
namespace {

using std::string_view;

// The turn of one writer: a hold on a file next to the INI file.
class Turn {
 public:
  explicit Turn(const std::string& path)
      : path_(path), file_(path.c_str(), {.writes = true, .creation = native::Creation::kIfMissing}) {
    problem_ = file_.Problem();
    if (problem_ != 0) return;
    held_ = HoldFile(file_.Get());
    if (!held_) problem_ = LastErrorCode() == EBUSY ? EAGAIN : LastErrorCode();
    if (held_ && !StillNames(path_.c_str(), file_.Get())) problem_ = EAGAIN;
  }
  // Pauses for longer than others do between two tries, or a busy writer would get every turn.
  ~Turn() {
    if (!held_) return;
    ReleaseFile(file_.Get());
    std::this_thread::sleep_for(3 * kRetryPause);
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  // Returns 0, EAGAIN while another writer has the turn, or another errno value.
  [[nodiscard]] int Problem() const { return problem_; }

 private:
  std::string path_;
  OpenFile file_;
  bool held_ = false;
  int problem_;
};

std::string PartOf(const std::string& path) {
  const std::size_t name = path.rfind('\\') + 1;
  return path.substr(0, name) + "." + path.substr(name) + kPartSuffix;
}

// Only the writer that has the turn uses the part, so an existing file was left by a killed writer.
int WritePart(const std::string& part, string_view contents) {
  native::Delete(part.c_str());
  OpenFile file(part.c_str(), {.writes = true, .creation = native::Creation::kOnlyNew});
  int problem = file.Problem();
  if (problem == 0) problem = WriteAll(file.Get(), contents.data(), contents.size());
  if (problem == 0) problem = native::Flush(file.Get());
  return problem == 0 ? file.Close() : problem;
}

// Removes the part after a failure, unless the file has disappeared and only the part has the contents.
IniOutcome TakePlace(const std::string& part, const std::string& path) {
  int problem = native::CopyAccess(path.c_str(), part.c_str());
  if (problem == 0) problem = RenamePart(part.c_str(), path.c_str());
  if (problem == 0) return {0, {}};
  if (!NameExists(path.c_str())) return {problem, part};
  native::Delete(part.c_str());
  return {problem, path};
}

// Creates a missing file, unless it disappeared in a refused rename and only its part is left.
IniOutcome EnsureExists(const std::string& path) {
  if (NameExists(path.c_str())) return {0, {}};
  const std::string part = PartOf(path);
  if (NameExists(part.c_str())) return {EEXIST, part};
  const OpenFile created(path.c_str(), {.writes = true, .creation = native::Creation::kIfMissing});
  return {created.Problem(), path};
}

IniOutcome Rewrite(const std::string& path, const IniChange& change) {
  if (IniOutcome failed = EnsureExists(path); failed.problem != 0) return failed;
  std::string old;
  if (const int problem = ReadIniContents(path, old)) return {problem, path};
  const std::string contents = EditIni(old, change.section, change.key, change.value);
  if (!change.value && contents == old) return {0, {}};
  const std::string part = PartOf(path);
  if (const int problem = WritePart(part, contents)) {
    native::Delete(part.c_str());
    return {problem, path};
  }
  return TakePlace(part, path);
}

}  // namespace

IniOutcome TryWriteIni(const char* file, const IniChange& change) {
  const std::string path = HostPath(file).Text();
  const std::string lock = path + kConfigurationLockSuffix;
  const Turn turn(lock);
  return turn.Problem() == 0 ? Rewrite(path, change) : IniOutcome{turn.Problem(), lock};
}

}  // namespace tvl
