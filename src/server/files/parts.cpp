#include "server/files/parts.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <optional>
#include <string_view>
#include <system_error>
#include <vector>

#include "host/folder_reader.h"
#include "host/system_calls.h"
#include "platform/held_file.h"
#include "server/files/names.h"

namespace tvl::server {
namespace {

constexpr char kPrefix[] = "tvlserver.";
constexpr char kSuffix[] = ".parts";
constexpr std::size_t kNoteSize = 1024;  // a path and zeros: name, links on the way, and the part's own name
constexpr int kTries = 1000;

std::string NotesName(int number) {
  return kPrefix + std::to_string(getpid()) + "." + std::to_string(number) + kSuffix;
}

bool IsNotesName(std::string_view name) {
  return name.starts_with(kPrefix) && name.ends_with(kSuffix);
}

std::vector<std::string> NotesIn(const std::string& folder) {
  std::vector<std::string> names;
  const Descriptor opened(System().open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
  FolderReader reader(opened.Get());
  while (const dirent64* entry = reader.Next()) {
    if (IsNotesName(entry->d_name)) names.push_back(folder + "/" + entry->d_name);
  }
  return names;
}

// Unlinks a part unless it is held. Returns false if there is none.
bool RemovePart(const StoreRoot& root, const std::string& path) {
  const std::optional<Place> place = root.FindPart(path);
  if (!place) return false;
  const int folder = place->folder.Get();
  const Descriptor part(
      System().openat(folder, place->base.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0));
  if (!part.IsOpen() || IsHeld(part.Get())) return false;
  return System().unlinkat(folder, place->base.c_str(), 0) == 0;
}

int RemoveNoted(const StoreRoot& root, const Descriptor& notes) {
  int removed = 0;
  char note[kNoteSize + 1] = {};
  for (off_t at = 0; System().pread(notes.Get(), note, kNoteSize, at) > 0; at += off_t{kNoteSize}) {
    if (note[0] != 0 && RemovePart(root, note)) ++removed;
    std::memset(note, 0, sizeof note);
  }
  return removed;
}

void UnlinkPath(void* path) {
  System().unlink(static_cast<std::string*>(path)->c_str());
}

}  // namespace

Parts::Parts(const std::string& folder, Gauge& parts) : folder_(folder), parts_(parts) {
  Make();
}

Parts::~Parts() {
  if (!notes_.IsOpen()) return;
  System().unlink(path_.c_str());
  ReleaseFile(notes_.Get());
}

// Another server may take the file for that of a dead server before it is held; then it is created again.
void Parts::Make() {
  for (int number = 0; number < kTries; ++number) {
    path_ = folder_ + "/" + NotesName(number);
    Descriptor notes(System().open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (!notes.IsOpen()) {
      if (errno == EEXIST) continue;
      break;
    }
    if (!HoldFile(notes.Get())) break;
    if (StillNames(path_.c_str(), notes.Get())) {
      notes_ = std::move(notes);
      return;
    }
    ReleaseFile(notes.Get());
  }
  throw std::system_error(errno, std::generic_category(), path_);
}

int Parts::RemoveLeftovers(const StoreRoot& root) const {
  int removed = 0;
  for (std::string& path : NotesIn(folder_)) {
    const Descriptor notes(System().open(path.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC, 0));
    if (path == path_ || !notes.IsOpen() || IsHeld(notes.Get())) continue;
    removed += RemoveNoted(root, notes);
    // If it is held meanwhile, it belongs to another server that starts at the same time and will handle it.
    if (!WhileUnheld(notes.Get(), UnlinkPath, &path)) continue;
  }
  return removed;
}

unsigned int Parts::NextNumber() {
  const std::lock_guard<std::mutex> guard(mutex_);
  return ++number_;
}

int Parts::Note(const std::string& path) {
  const std::lock_guard<std::mutex> guard(mutex_);
  if (path.size() >= kNoteSize) return -1;
  const int note = free_.empty() ? used_ : *free_.begin();
  char text[kNoteSize] = {};
  path.copy(text, sizeof text);
  if (System().pwrite(notes_.Get(), text, sizeof text, off_t{note} * off_t{kNoteSize}) != off_t{kNoteSize})
    return -1;
  if (free_.erase(note) == 0) ++used_;
  parts_.Add(1);
  return note;
}

// The note itself stays until its position is reused: without the part it has no effect.
void Parts::Strike(int note) {
  const std::lock_guard<std::mutex> guard(mutex_);
  free_.insert(note);
  parts_.Add(-1);
}

}  // namespace tvl::server
