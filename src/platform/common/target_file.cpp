#include "platform/target_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/names.h"
#include "platform/transfer_group.h"

namespace tvl {
namespace {

constinit thread_local const char* why_in_place = nullptr;

bool IsZero(const char* bytes, std::size_t count) {
  return count == 0 || (bytes[0] == 0 && std::memcmp(bytes, bytes + 1, count - 1) == 0);
}

}  // namespace

const char* WhyInPlace() {
  return why_in_place;
}

TargetFile::TargetFile(const char* path, const Writing& writing, const SourceTraits* source)
    : writing_(writing),
      has_source_(source != nullptr),
      source_(has_source_ ? *source : SourceTraits{}),
      process_(GetCurrentProcessId()) {
  why_in_place = nullptr;
  try {
    path_ = HostPath(path).Text();
    const bool opened = writing_.safety == Safety::kInPlace ? OpenInPlace() : OpenPart();
    if (!opened && file_ != INVALID_HANDLE_VALUE) static_cast<void>(Close());
    if (opened && !is_source_ && has_source_ && source_.HasHoles()) AllowHoles();
  } catch (const std::bad_alloc&) {
    if (file_ != INVALID_HANDLE_VALUE) static_cast<void>(Close());
    NoteError(path, ENOMEM);
  }
}

TargetFile::~TargetFile() {
  if (file_ == INVALID_HANDLE_VALUE) return;
  if (is_part_)
    DropPart();
  else
    static_cast<void>(Close());
}

bool TargetFile::Fail(int problem) const {
  NoteError(path_.c_str(), problem);
  return false;
}

bool TargetFile::IsSourceFile(const SourceTraits& found) const {
  return has_source_ && found.device == source_.device && found.inode == source_.inode;
}

bool TargetFile::FailAppeared() {
  why_ = Outcome::kAppeared;
  return Fail(EEXIST);
}

bool TargetFile::FallBack(const char* why) {
  why_in_place = why;
  return OpenInPlace();
}

bool TargetFile::Write(const void* bytes, std::size_t count) {
  if (!has_source_ || !source_.HasHoles()) return WriteData(bytes, count);
  const auto* text = static_cast<const char*>(bytes);
  while (count > 0) {
    const std::size_t piece = std::min(count, kHoleBlock);
    ends_in_hole_ = piece == kHoleBlock && IsZero(text, piece);
    if (!(ends_in_hole_ ? SkipBlock() : WriteData(text, piece))) return false;
    text += piece;
    count -= piece;
  }
  return true;
}

bool TargetFile::Finish() try {
  if (is_source_) {
    if (writing_.group != nullptr) writing_.group->TakeDone();
    return true;
  }
  return EndHole() && (is_part_ ? FinishPart() : FinishInPlace());
} catch (const std::bad_alloc&) {
  return Fail(ENOMEM);
}

}  // namespace tvl
