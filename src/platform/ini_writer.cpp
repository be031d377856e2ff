#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <string_view>

#include "platform/held_file.h"
#include "platform/host_path.h"
#include "platform/ini_file.h"
#include "platform/ini_line.h"
#include "platform/last_error.h"
#include "platform/open_file.h"
#include "platform/system_calls.h"

namespace tvl {
namespace {

using std::string_view;

constexpr long kPauseNanoseconds = 2'000'000;
constexpr int kPatience = 5000;  // pauses: 10 s in all

bool HasLineEnd(string_view text) {
  return text.find_first_of("\r\n") != string_view::npos;
}

// True if a line with this key and value says the same to the reader.
bool CanBeRead(string_view key, string_view value) {
  if (HasLineEnd(key) || HasLineEnd(value) || IsIniRemark(key) || IsIniSection(key)) return false;
  return TrimIniText(key) == key && key.find('=') == string_view::npos;
}

// The value as it is written: in quotes where the reader would take something off its ends.
std::string Quoted(string_view value) {
  const IniKeyLine read = SplitIniLine(std::string("=").append(value));
  return read.value.size() == value.size() ? std::string(value) : '"' + std::string(value) + '"';
}

// A place in the contents where text is put, over `length` bytes that are there.
struct Place {
  std::size_t at;
  std::size_t length;
};

// Where a line's value stands, its quotes with it; the blanks around it belong to whoever wrote the file.
Place ValuePlace(string_view contents, std::size_t line, std::size_t end) {
  const std::size_t begin = contents.find('=', line) + 1;
  const string_view behind = contents.substr(begin, end - begin);
  const string_view value = TrimIniText(behind);
  if (value.empty()) return {begin, 0};
  return {begin + static_cast<std::size_t>(value.data() - behind.data()), value.size()};
}

// What the file will hold: one key changed or added.
class Edit {
 public:
  Edit(string_view contents, string_view section, string_view key) : contents_(contents) {
    Find(section, key);
  }

  [[nodiscard]] std::string Apply(string_view section, string_view key, string_view value) const {
    std::string result(contents_);
    if (has_key_) return result.replace(place_.at, place_.length, Quoted(value));
    std::string lines;
    if (place_.at > 0 && contents_[place_.at - 1] != '\n') lines += line_end_;
    if (!has_section_) lines.append("[").append(section).append("]").append(line_end_);
    lines.append(key).append("=").append(Quoted(value)).append(line_end_);
    return result.insert(place_.at, lines);
  }

 private:
  // Finds the key, or else the place for its line: behind the last line of the section that says anything.
  void Find(string_view section, string_view key) {
    place_ = {contents_.size(), 0};
    if (contents_.find("\r\n") != string_view::npos) line_end_ = "\r\n";
    std::size_t next = 0;
    for (std::size_t at = 0; at < contents_.size(); at = next) {
      const std::size_t end = std::min(contents_.find('\n', at), contents_.size());
      next = std::min(end + 1, contents_.size());
      string_view line = contents_.substr(at, end - at);
      line = line.substr(0, line.find('\0'));  // as far as the reader reads it
      if (at == 0 && line.substr(0, kIniByteOrderMark.size()) == kIniByteOrderMark) {
        line.remove_prefix(kIniByteOrderMark.size());
      }
      line = TrimIniText(line);
      if (IsIniSection(line)) {
        if (has_section_) return;
        has_section_ = SameIniName(IniSectionName(line), section);
        if (has_section_) place_.at = next;
      } else if (has_section_ && !line.empty()) {
        place_.at = next;
        const IniKeyLine key_line = SplitIniLine(line);
        if (IsIniRemark(line) || !key_line.has_value || !SameIniName(key_line.name, key)) continue;
        place_ = ValuePlace(contents_, at, std::min(end, contents_.find('\0', at)));
        has_key_ = true;
        return;
      }
    }
  }

  string_view contents_;
  Place place_ = {};
  bool has_section_ = false;
  bool has_key_ = false;
  string_view line_end_ = "\n";
};

int ReadAll(int descriptor, std::string& contents) {
  char piece[16384];
  for (;;) {
    const ssize_t count = System().read(descriptor, piece, sizeof piece);
    if (count == 0) return 0;
    if (count > 0) {
      contents.append(piece, static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return errno;
    }
  }
}

int WriteAll(int descriptor, string_view contents) {
  while (!contents.empty()) {
    const ssize_t count = System().write(descriptor, contents.data(), contents.size());
    if (count < 0 && errno != EINTR) return errno;
    if (count > 0) contents.remove_prefix(static_cast<std::size_t>(count));
  }
  return 0;
}

// The contents in a new file beside the old one, with its mode and, where that may be given, its owner; gone
// again unless it took the old one's place.
class NewFile {
 public:
  explicit NewFile(const std::string& beside) : path_(beside + ".new"), file_(Make(path_)) {}
  ~NewFile() {
    if (file_ >= 0) System().close(file_);
    if (file_ >= 0 && !renamed_) System().unlink(path_.c_str());
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  [[nodiscard]] int Fill(string_view contents, const struct stat& old) const {
    if (file_ < 0) return errno;
    if (const int problem = WriteAll(file_, contents)) return problem;
    const bool same_owner = fchown(file_, old.st_uid, old.st_gid) == 0;
    if (System().fchmod(file_, old.st_mode & (same_owner ? 07777 : 0777)) != 0) return errno;
    return System().fsync(file_) == 0 ? 0 : errno;
  }

  [[nodiscard]] int TakePlaceOf(const std::string& path) {
    renamed_ = System().rename(path_.c_str(), path.c_str()) == 0;
    if (!renamed_) return errno;
    SyncFolder(path);
    return 0;
  }

 private:
  // What a writer that was killed has left behind may be another user's, who alone could open it.
  static int Make(const std::string& path) {
    System().unlink(path.c_str());
    return System().open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  }

  static void SyncFolder(const std::string& path) {
    const int folder =
        System().open(path.substr(0, path.rfind('/') + 1).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0);
    if (folder < 0) return;
    System().fsync(folder);
    System().close(folder);
  }

  std::string path_;
  int file_;
  bool renamed_ = false;
};

// The file that a name leads to, with a link resolved: the new contents take the place of that and not of the
// link.
std::string ResolvedPath(const char* path) {
  char resolved[PATH_MAX];
  return realpath(HostPath(path).Text(), resolved) != nullptr ? resolved : HostPath(path).Text();
}

int Rewrite(const std::string& path, const OpenFile& old, string_view section, string_view key,
            string_view value) {
  std::string contents;
  if (const int problem = ReadAll(old.Descriptor(), contents)) return problem;
  const std::string changed = Edit(contents, section, key).Apply(section, key, value);
  NewFile file(path);
  if (const int problem = file.Fill(changed, old.Status())) return problem;
  return file.TakePlaceOf(path);
}

// One turn at the file: 0 done, EAGAIN if another writer has it or has just replaced it, else why not.
int TryWrite(const char* file, string_view section, string_view key, string_view value) {
  const std::string path = ResolvedPath(file);
  const OpenFile old(path.c_str(), O_RDWR | O_CREAT);
  if (!old.IsOpen()) return LastErrorCode();
  if (!HoldFile(old.Descriptor())) return LastErrorCode() == EBUSY ? EAGAIN : LastErrorCode();
  const int result =
      StillNames(path.c_str(), old.Descriptor()) ? Rewrite(path, old, section, key, value) : EAGAIN;
  ReleaseFile(old.Descriptor());
  return result;
}

int Write(const char* file, string_view section, string_view key, string_view value) {
  if (!CanBeRead(key, value)) return EINVAL;
  for (int turn = 0; turn < kPatience; ++turn) {
    const int problem = TryWrite(file, section, key, value);
    if (problem != EAGAIN) return problem;
    const timespec pause = {0, kPauseNanoseconds};
    nanosleep(&pause, nullptr);
  }
  return EBUSY;
}

}  // namespace
}  // namespace tvl

BOOL WritePrivateProfileStringA(const char* section, const char* key, const char* value,
                                const char* file) try {
  const int problem = tvl::Write(file, section, key, value);
  if (problem == 0) return 1;
  tvl::NoteError(file, problem);
  return 0;
} catch (const std::bad_alloc&) {
  tvl::NoteError(file, ENOMEM);
  return 0;
}
