#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cstdio>

#include "host/descriptor.h"
#include "host/system_calls.h"
#include "platform/files.h"
#include "store/check/checks.h"
#include "store/check/lock_child.h"

namespace tvl {
namespace {

constexpr char kUseLocks[] = "use a file system with byte-range locks, and mount it with locking";
constexpr char kUseRename[] = "use a file system that can rename a file over another one, such as NFS or SMB";
constexpr char kUseTimes[] = "use a file system on which the owner of a file can set its time";

Finding CheckLocks(const Scratch& scratch) {
  const std::string path = scratch.File("lock", "x");
  LockChild other(path, kHoldRange);
  if (!other.Holds()) return Bad("a file cannot be locked", kUseLocks);
  if (CanLock(path, kTryRange)) return Bad("two processes get the same lock", kUseLocks);
  other.Kill();
  if (!CanLock(path, kTryRange)) return Bad("the lock of a killed process is not released", kUseLocks);
  return Good("one process at a time; a killed process releases its lock");
}

// A client that tries a lock or waits for it must not look like its owner, and users of a table must not
// exclude each other.
Finding CheckRanges(const Scratch& scratch) {
  const std::string path = scratch.File("ranges", "x");
  const LockChild trying(path, kTurnByte);
  const LockChild using_table(path, kUseByte, LockKind::kShared);
  if (!trying.Holds() || !using_table.Holds())
    return Bad("a file cannot be locked beyond its end", kUseLocks);
  if (!CanLock(path, kHoldRange)) return Bad("a process that tries a lock seems to hold it", kUseLocks);
  if (!CanLock(path, kUseByte, LockKind::kShared)) return Bad("shared locks do not work", kUseLocks);
  if (CanLock(path, kTryRange)) return Bad("a table in use is not detected", kUseLocks);
  return Good("trying a lock is not mistaken for holding it");
}

Finding CheckDeletion(const Scratch& scratch) {
  const std::string path = scratch.File("held", "x");
  LockChild other(path, kHoldRange);
  const bool refused = other.Holds() && DeleteFileA(path.c_str()) == 0;
  if (!refused || !IsThere(path)) return Bad("a held file was deleted", kUseLocks);
  other.Kill();
  if (DeleteFileA(path.c_str()) == 0 || IsThere(path))
    return Bad("a file that is no longer held cannot be deleted", kUseLocks);
  return Good("refused while another process holds it");
}

Finding CheckRename(const Scratch& scratch) {
  const std::string from = scratch.File("new", "new");
  const std::string to = scratch.File("old", "old");
  if (System().rename(from.c_str(), to.c_str()) != 0) return Bad(Reason(), kUseRename);
  if (ContentsOf(to) != "new") return Bad("the old file stays", kUseRename);
  const std::string again = scratch.File("newer", "newer");
  const Descriptor reader(System().open(to.c_str(), O_RDONLY | O_CLOEXEC, 0));
  if (System().rename(again.c_str(), to.c_str()) != 0)
    return Warn("refused while a program of this computer has the file open (" + Reason() + ")",
                "keep files of the store open only briefly; replacing a file waits up to 10 s");
  return ContentsOf(to) == "newer" ? Good("replaces the file, even while it is open")
                                   : Bad("an open file is lost when it is replaced", kUseRename);
}

Finding CheckTimes(const Scratch& scratch) {
  constexpr long kNanoseconds = 123'456'789;
  constexpr time_t kOddSecond = 1'000'000'001;
  const std::string path = scratch.File("time", "x");
  const std::array<timespec, 2> times = {{{kOddSecond, kNanoseconds}, {kOddSecond, kNanoseconds}}};
  struct stat status = {};
  if (System().utimensat(AT_FDCWD, path.c_str(), times.data(), 0) != 0 ||
      System().stat(path.c_str(), &status) != 0)
    return Bad(Reason(), kUseTimes);
  if (status.st_mtim.tv_sec != kOddSecond)
    return Warn("2 s or coarser", "set FileCompare=hash in tvl.ini, which compares contents");
  for (long grain = 1; grain <= 100'000'000; grain *= 10) {
    if (status.st_mtim.tv_nsec == kNanoseconds / grain * grain) return Good(std::to_string(grain) + " ns");
  }
  return Good("1 s");
}

Finding CheckCase(const Scratch& scratch) {
  static_cast<void>(scratch.File("Case", "x"));
  const bool alike = IsThere(scratch.Path("cASE"));
  return Good(alike ? "'a' and 'A' are the same name" : "'a' and 'A' are different names");
}

}  // namespace

const std::vector<Check<Scratch>>& ScratchChecks() {
  static const std::vector<Check<Scratch>> checks = {
      {"locks", true, CheckLocks},
      {"lock ranges", true, CheckRanges},
      {"deletion of a held file", true, CheckDeletion},
      {"rename over a file", true, CheckRename},
      {"time stamps", false, CheckTimes},
      {"letter case", false, CheckCase},
  };
  return checks;
}

}  // namespace tvl
