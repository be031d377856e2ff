#ifndef TVL_PLATFORM_TARGET_FILE_H
#define TVL_PLATFORM_TARGET_FILE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/files.h"
#include "platform/transfer_group.h"
#include "platform/writing.h"

namespace tvl {

// The target of a copy while it is being written.
//
// With Safety::kInPlace the target itself is written. With the other levels a part next to it (parts.h) is
// written, and Finish renames it to the target; if the object is destroyed before, the target is unchanged.
// Targets with several names, those whose owner, group or access list the part cannot have, and those in a
// folder that is not writable are still written in place (WhyInPlace).
//
// A new target gets the mode of its source less the umask; an existing one keeps its mode. Failures are
// recorded with the name of the target (last_error.h).
class TargetFile {
 public:
  // `source` is null if the source is not a file on this computer.
  TargetFile(const char* path, const Writing& writing, const SourceTraits* source);
  // Closes an unfinished target and removes its part.
  ~TargetFile();
  TargetFile(const TargetFile&) = delete;
  TargetFile& operator=(const TargetFile&) = delete;

  // Returns false if the target cannot be opened or is held.
  [[nodiscard]] bool IsOpen() const { return file_ != INVALID_HANDLE_VALUE || is_source_; }

  // Why a target could not be opened or finished.
  enum class Outcome {
    kFailed,
    kAppeared,  // it exists although Writing expects a new one; it is unchanged
    kPartLost,  // another process removed the part, which was not held; the target is unchanged
  };
  [[nodiscard]] Outcome Why() const { return why_; }

  // Returns true if the target is the source itself, by any name. Then it must not be written.
  [[nodiscard]] bool IsSource() const { return is_source_; }

  [[nodiscard]] HANDLE Handle() const { return file_; }

  // Returns true for a part and for a file that was just created, which need no Empty.
  [[nodiscard]] bool IsNew() const { return is_part_ || created_; }

  // Truncates a target that is written in place. Returns false with an unchanged target if there is not
  // enough space for the source.
  [[nodiscard]] bool Empty();

  // Appends bytes. If the source has holes, blocks of zeros become holes.
  [[nodiscard]] bool Write(const void* bytes, std::size_t count);

  // Appends bytes without creating holes.
  [[nodiscard]] bool WriteData(const void* bytes, std::size_t count);

  // Sets the times of the target; a null `accessed` keeps the access time. Returns false if this is refused,
  // as for a target of another owner. In a group, those of a part may be set later.
  bool SetTimes(const FILETIME* accessed, const FILETIME& written);

  // Completes the target. In a group, a part replaces the target later.
  [[nodiscard]] bool Finish();

  // After a failure, removes a target that was just created.
  void Discard();

 private:
  [[nodiscard]] bool OpenInPlace();
  [[nodiscard]] bool OpenExisting();
  [[nodiscard]] bool OpenPart();
  [[nodiscard]] bool FindExisting(bool* has_several_names);
  [[nodiscard]] bool FallBack(const char* why);
  [[nodiscard]] int CreatePart();
  [[nodiscard]] bool LooksFirst() const;
  [[nodiscard]] bool HoldsPart() const;
  [[nodiscard]] bool KeepPart();
  [[nodiscard]] bool FailAppeared();
  [[nodiscard]] HANDLE Create(const std::string& path, unsigned int mode) const;
  [[nodiscard]] bool IsSourceFile(const SourceTraits& found) const;
  [[nodiscard]] bool HasSpace(std::uint64_t freed) const;
  static constexpr std::size_t kHoleBlock = 4096;
  void AllowHoles();
  [[nodiscard]] bool SkipBlock();
  [[nodiscard]] bool EndHole();
  [[nodiscard]] bool FinishInPlace();
  [[nodiscard]] bool FinishPart();
  void PassToGroup();
  [[nodiscard]] bool IsSynced() const { return writing_.safety == Safety::kSynced; }
  [[nodiscard]] bool Fail(int problem) const;
  [[nodiscard]] bool Close();
  void DropPart();
  [[nodiscard]] unsigned int NewMode() const;

  const Writing writing_;
  const bool has_source_;
  const SourceTraits source_;
  std::string path_;  // path of the target, with resolved links if a part is written
  std::string part_;
  HANDLE file_ = INVALID_HANDLE_VALUE;
  DWORD process_;
  bool is_source_ = false;
  bool is_part_ = false;
  bool exists_ = false;   // the target existed before
  bool created_ = false;  // created by this object, in place
  bool ends_in_hole_ = false;
  std::uint64_t old_size_ = 0;
  std::uint64_t old_allocated_ = 0;
  std::uint64_t device_ = 0;
  std::optional<NewTimes> later_times_;
  Outcome why_ = Outcome::kFailed;
};

// Returns why the last target of the calling thread was written in place although a part was requested; null
// if it was not.
[[nodiscard]] const char* WhyInPlace();

}  // namespace tvl

#endif
