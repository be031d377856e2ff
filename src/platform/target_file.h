#ifndef TVL_PLATFORM_TARGET_FILE_H
#define TVL_PLATFORM_TARGET_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/files.h"
#include "platform/writing.h"

struct stat;

namespace tvl {

// The target of a copy while it is written.
//
// With Safety::kInPlace the target itself is written. With the other levels a part next to it is (parts.h),
// which Finish renames over it; an object that is destroyed before has left the target as it was. Written in
// place all the same are targets with several names, those whose owner, group or access list the part cannot
// take, and those in a folder that may not be written (WhyInPlace).
//
// A target takes the mode of its source less the umask if it is new, else it keeps its own. A failure is
// noted with the target's name (last_error.h).
class TargetFile {
 public:
  // `source` is null where the source is not a file of this computer.
  TargetFile(const char* path, const Writing& writing, const SourceTraits* source);
  // Closes what was not finished and removes a part.
  ~TargetFile();
  TargetFile(const TargetFile&) = delete;
  TargetFile& operator=(const TargetFile&) = delete;

  // False if the target cannot be opened, or somebody holds it.
  [[nodiscard]] bool IsOpen() const { return file_ != INVALID_HANDLE_VALUE || is_source_; }

  // True if the target is the source itself, by another name or the same. It must not be written then.
  [[nodiscard]] bool IsSource() const { return is_source_; }

  [[nodiscard]] int Descriptor() const { return static_cast<int>(file_); }

  // True for a part and for a file that the opening created, which need no Empty.
  [[nodiscard]] bool IsNew() const { return is_part_ || created_; }

  // Empties a target that is written in place. Returns false, with the target untouched, if there is not
  // enough space for the source.
  [[nodiscard]] bool Empty();

  // Appends bytes. Where the source has holes, blocks of zeros become holes.
  [[nodiscard]] bool Write(const void* bytes, std::size_t count);

  // Writes bytes as they are.
  [[nodiscard]] bool WriteData(const void* bytes, std::size_t count);

  // Sets the times of the target; a null `accessed` leaves that time alone. Returns false if they are
  // refused, as they are where the target has another owner.
  bool SetTimes(const FILETIME* accessed, const FILETIME& written);

  // Completes the target. Inside a group of level 2 the target changes when the group ends.
  [[nodiscard]] bool Finish();

  // Removes a target that the opening created, after a failure.
  void Discard();

 private:
  [[nodiscard]] bool OpenInPlace();
  [[nodiscard]] bool OpenExisting();
  [[nodiscard]] bool OpenPart();
  [[nodiscard]] bool FindExisting(struct stat* status);
  [[nodiscard]] bool FallBack(const char* why);
  [[nodiscard]] int CreatePart();
  [[nodiscard]] int Create(const std::string& path, unsigned int mode);
  [[nodiscard]] bool IsSourceFile(const struct stat& status) const;
  [[nodiscard]] bool HasSpace(std::uint64_t freed) const;
  [[nodiscard]] bool SkipBlock();
  [[nodiscard]] bool EndHole();
  [[nodiscard]] bool FinishInPlace();
  [[nodiscard]] bool FinishPart();
  [[nodiscard]] bool Fail(int problem) const;
  [[nodiscard]] bool Close();
  void DropPart();
  [[nodiscard]] unsigned int NewMode() const;

  const Writing writing_;
  const bool has_source_;
  const SourceTraits source_;
  std::string path_;  // the target's, links resolved where a part is written
  std::string part_;
  HANDLE file_ = INVALID_HANDLE_VALUE;
  DWORD process_;
  bool is_source_ = false;
  bool is_part_ = false;
  bool exists_ = false;   // the target was there before
  bool created_ = false;  // by this object, in place
  bool ends_in_hole_ = false;
  std::uint64_t old_size_ = 0;
  std::uint64_t old_allocated_ = 0;
  std::uint64_t device_ = 0;
};

// Why the calling thread's last target was written in place although a part was wanted; null if it was not.
[[nodiscard]] const char* WhyInPlace();

}  // namespace tvl

#endif
