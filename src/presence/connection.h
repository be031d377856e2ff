#ifndef TVL_PRESENCE_CONNECTION_H
#define TVL_PRESENCE_CONNECTION_H

#include <cstddef>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <tvlclient/cstring.h>

#include "base/fixed_text.h"
#include "platform/files.h"
#include "platform/host_path.h"
#include "presence/instance_number.h"
#include "store/lock_row.h"
#include "store/marker_name.h"
#include "table/ctree_file.h"
#include "table/engine_binding.h"

namespace tvl {

// A row of the lock table.
struct LockRow {
  char object[kLongestObject + 1];
  char computer[33];
  char ip[33];  // dotted
  char client_class[5];
  int instance;
  int pid;
  char user[65];
  bool alive;  // the owner's marker is held, so the lock counts
};

}  // namespace tvl

// An instance on a store: who it is, its presence, its locks.
//
// Presence is a marker file whose name says who the instance is, held from its first to its last moment in a
// way that keeps everybody from deleting it. To find out whether an instance lives, others try to delete its
// marker, which also removes a dead one's. A lock is a row of a shared table; it counts while its owner's
// marker is held, so a dead owner blocks nobody.
//
// Marker and table may be lost while the instance lives: removed, replaced, or on a share that took this
// computer for dead. Each lock operation checks both first, creates a lost marker again and opens the table
// that is there. Then it answers as the table stands, and HoldsLock reports what was lost.
//
// Failures of the file system are not reported: an instance whose marker cannot be created works, but counts
// as dead for everybody else; without a lock table nothing can be locked. An operation waits once for a busy
// table, 10 s at most. One object serves one thread at a time, in the process that created it: in a forked
// child it does nothing but free memory.
class CConnection {
 public:
  // Fills the identity; creates no file. `locks` and `procs` end in a backslash. Of
  // `clientClass` four characters count, with separators replaced by "_"; a shorter one is filled with "x".
  // Null `computerName`, `address` (dotted) and `userName` mean this computer's name in lower case,
  // "127.0.0.1" and the user's name.
  CConnection(const char* locks, const char* procs, const char* clientClass,
              const char* computerName = nullptr, const char* address = nullptr,
              const char* userName = nullptr);
  virtual ~CConnection();
  CConnection(const CConnection&) = delete;
  CConnection& operator=(const CConnection&) = delete;

  // Finds this instance's number and creates its marker at the first call. The number; 0 if all of 1 to 9999
  // are taken, and then the instance can lock nothing. Numbers grow downward to 1 as long as the bottom is
  // free, then upward. Deletes the rows that an earlier instance of this process left under the same
  // identity.
  int AllocateInstance();

  // For a caller whose own batch around AllocateInstance was lost: the rows that it deleted are in the table
  // again, and the next operation deletes them.
  void NoteLostStart() { former_rows_due_ = true; }

  // Marker names of the other live instances of a class ("*": of all), each followed by "|". Always 0.
  // Removes the markers of dead ones.
  int GetProcessesList(const char* wantedClass, int& count, CString& list);

  // The same as a list of names.
  [[nodiscard]] std::vector<std::string> LiveMarkers(const char* wantedClass) const;

  // The same, but changes nothing, so that a dead instance's marker stays.
  [[nodiscard]] std::vector<std::string> HeldMarkers(const char* wantedClass) const;

  // Ends the presence: own locks first, then the hold, then the marker.
  void Unregister();

  // Reports who has the lock on `name`, and deletes a dead owner's row. The state: 0 nobody, 1 this instance,
  // 2 another on this computer, 3 another computer. Another live process with this instance's identity counts
  // as another instance. The owner fields describe the row found.
  int CheckLock(const char* name);

  // Takes the lock on `name`, 1 to 32 bytes; blanks at its end make no other name. 1 only if no live instance
  // held it when the row was written: check and write are one write batch of the table. The row of a dead
  // predecessor, with the same identity but another process id, becomes this process's; the owner fields then
  // describe the row found. 0, with nothing written, if the table cannot be used or a damaged row is in the
  // way. Locks don't nest.
  int Lock(const char* name);

  // Releases an own lock. 0 if the object is not locked any more, or a damaged row is in the way; 1 if the
  // row could not be deleted; 2, 3 as above, and the row stays.
  int Unlock(const char* name);

  // True while this instance's marker exists and is the file that it holds. Without presence its locks count
  // for nobody else.
  [[nodiscard]] bool IsPresent() const;

  // True if this instance is present and the first row of `name` in the table is its own, with its process
  // id. Changes nothing, neither the table nor the owner fields. False also if the table cannot be read.
  [[nodiscard]] bool HoldsLock(const char* name);

  // Appends every row of the lock table, in the order of the objects' names, until `rows` has `most`; changes
  // nothing, and no marker either. False if the table cannot be read or is damaged.
  [[nodiscard]] bool ListLocks(std::vector<tvl::LockRow>& rows,
                               std::size_t most = std::numeric_limits<std::size_t>::max());

  // Deletes those of this instance's rows that are above all others in the table. The others count for
  // nothing once the marker is gone. Leaves out rows of another live process with this identity.
  void ReleaseOwnLocks();

  // Deletes the rows of this instance and this process wherever they are in the table. Reads the whole table.
  void ReleaseAllOwnLocks();

  // Opens the lock table, which must be there, unless it is open. Always 1.
  int OpenLocksTable();

  // This process created the object; in a forked child it is dead.
  bool IsOwnProcess() const;

  const char* locksDir;  // both are copies: a new `Open` changes the configuration before this object ends
  const char* procsDir;
  char* computer;  // owned
  char ipText[9];
  unsigned int pid;
  char* user;  // owned
  std::unique_ptr<CCtreeFile> table;
  char object[64];
  char ownerComputer[64];
  char ownerClass[8];
  int ownerInstance;
  int ownerPid;
  char ownerIp[33];  // 8 hexadecimal digits while a row is examined, dotted at the end of an operation
  char ownerUser[65];
  char keyBuffer[kLockKeyRoom];
  int lockState;
  char markerPath[tvl::kMaxPath];  // empty when there is none
  char className[8];
  int lockCount;  // rows written or adopted, and not deleted
  HANDLE markerHandle;
  int instance;  // 0 until allocated

 private:
  enum class Access { kNone, kReading, kWriting };

  using IsAlive = bool (*)(const char* marker);
  std::vector<std::string> OtherMarkers(const char* wantedClass, IsAlive isAlive) const;
  void TakeNumber();
  tvl::PathText Identity() const;
  tvl::LiveNumbers FindLiveNumbers() const;
  void RemoveUnfinishedMarkers() const;
  int CreateMarker();
  void CloseMarker();
  void KeepPresence();
  [[nodiscard]] bool BeginBatch(std::optional<tvl::TableBatch>& batch, tvl::TableBatch::Kind kind);
  [[nodiscard]] bool BeginWriting(std::optional<tvl::TableBatch>& batch);
  Access BeginOperation(std::optional<tvl::TableBatch>& batch);
  void ClearOwner();
  bool NameObject(const char* name);
  const char* BuildOwnKey(const char* name);
  bool ReadRowOfObject();
  void ReadOwner();
  int CompareOwner() const;
  bool IsOwnedByOtherProcess() const;
  tvl::InstanceName OwnerName() const;
  bool IsOwnerAlive() const;
  void DescribeRow(tvl::LockRow& row) const;
  bool WriteOwnRow();
  bool AdoptRow();
  void DescribeSelf();
  int CheckLockInBatch();
  bool IsOwnRow(const char* key, const char* name) const;
  void DeleteTopRows();
  void DeleteFormerRows();

  std::string locks_folder_;
  std::string procs_folder_;
  tvl::TableEngineUse engine_use_;
  tvl::OwnNumber number_;
  bool has_allocated_ = false;
  // Rows that an earlier instance of this process left under this identity may still be in the table.
  bool former_rows_due_ = false;
};

#endif
