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

// An instance that uses a store: its identity, its presence and its locks.
//
// Presence is a marker file whose name identifies the instance. The instance holds it from start to end, so
// that nobody can delete it. To find out whether an instance is alive, others try to delete its marker, which
// also removes the marker of a dead instance. A lock is a row of a shared table. It is valid while its
// owner's marker is held, so a dead owner blocks nobody.
//
// Marker and table may be lost while the instance is alive: removed, replaced, or on a share that regarded
// this computer as dead. Each lock operation checks both first, creates a lost marker again and reopens a
// replaced table. Its result reflects the current table, and HoldsLock reports lost locks.
//
// Failures of the file system are not reported: an instance whose marker cannot be created works, but counts
// as dead for all others; without a lock table nothing can be locked. An operation waits once for a busy
// table, for at most 10 s. One object serves one thread at a time, in the process that created it. In a
// forked child it only frees memory.
class CConnection {
 public:
  // Fills the identity; creates no file. `locks` and `procs` end in a backslash. Uses four characters of
  // `client_class`, with separators replaced by "_"; a shorter one is padded with "x". Null `computerName`,
  // `address` (dotted) and `user_name` mean this computer's name in lower case, "127.0.0.1" and the user's
  // name.
  CConnection(const char* locks, const char* procs, const char* client_class,
              const char* computerName = nullptr, const char* address = nullptr,
              const char* user_name = nullptr);
  virtual ~CConnection();
  CConnection(const CConnection&) = delete;
  CConnection& operator=(const CConnection&) = delete;

  // At the first call, selects a number for this instance and creates its marker. Returns the number, or 0 if
  // all of 1 to 9999 are taken; then the instance cannot lock anything. Numbers below the lowest live number
  // are used down to 1, then numbers above the highest. Deletes the rows that an earlier instance of this
  // process left under the same identity.
  int AllocateInstance();

  // To be called if the caller's batch around AllocateInstance was lost: the rows that it deleted are in the
  // table again, and the next operation will delete them.
  void NoteLostStart() { former_rows_due_ = true; }

  // Lists the marker names of the other live instances of a class ("*": of all), each followed by "|".
  // Removes the markers of dead instances. Always returns 0.
  int GetProcessesList(const char* wanted_class, int& count, CString& list);

  // The same as a list of names.
  [[nodiscard]] std::vector<std::string> LiveMarkers(const char* wanted_class) const;

  // The same, but changes nothing, so that a dead instance's marker stays.
  [[nodiscard]] std::vector<std::string> HeldMarkers(const char* wanted_class) const;

  // Ends the presence: releases the own locks first, then the marker, and deletes it.
  void Unregister();

  // Finds the owner of the lock on `name`, and deletes the row of a dead owner. Returns 0 for no owner, 1 for
  // this instance, 2 for another instance on this computer, 3 for another computer. Another live process with
  // the identity of this instance counts as another instance. The owner fields describe the row found.
  int CheckLock(const char* name);

  // Locks `name`, which has 1 to 32 bytes; trailing blanks are ignored. Returns 1 only if no live instance
  // held the lock when the row was written: check and write are one write batch. Takes over the row of a dead
  // predecessor with the same identity but another process id; the owner fields then describe the row found.
  // Returns 0, with nothing written, if the table cannot be used, a damaged row is in the way, or another
  // instance has taken the marker's name, else 2 or 3 as above. Locks do not nest.
  int Lock(const char* name);

  // Releases a lock of this instance. Returns 0 if the object is not locked any more, or a damaged row is in
  // the way; 1 if the row could not be deleted; 2 or 3 as above, without deleting the row.
  int Unlock(const char* name);

  // Returns true while the marker of this instance exists and is the file that it holds. Without presence
  // other clients ignore its locks.
  [[nodiscard]] bool IsPresent() const;

  // Returns true if this instance is present and the first row of `name` in the table is its own, with its
  // process id. Returns false if the table cannot be read. Changes neither the table nor the owner fields.
  [[nodiscard]] bool HoldsLock(const char* name);

  // Appends the rows of the lock table, in the order of the objects' names, until `rows` has `most`. Changes
  // neither the table nor any marker. Returns false if the table cannot be read or is damaged.
  [[nodiscard]] bool ListLocks(std::vector<tvl::LockRow>& rows,
                               std::size_t most = std::numeric_limits<std::size_t>::max());

  // Deletes the rows of this instance that sort after all rows of others in the table. The remaining ones
  // become invalid with the marker. Leaves rows of another live process with this identity alone.
  void ReleaseOwnLocks();

  // Deletes the rows of this instance and this process wherever they are in the table. Reads the whole table.
  void ReleaseAllOwnLocks();

  // Opens the lock table, which must exist, unless it is open. Always returns 1.
  int OpenLocksTable();

  // Returns true if this process created the object. A forked child cannot use it.
  bool IsOwnProcess() const;

  const char* locksDir;  // both are copies, because a new `Open` changes the configuration before this object
                         // is destroyed
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
  char keyBuffer[kLockKeySize];
  int lockState;
  char markerPath[tvl::kMaxPath];  // empty when there is none
  char className[8];
  int lockCount;  // rows written or adopted, and not deleted
  HANDLE markerHandle;
  int instance;  // 0 until allocated

 private:
  enum class Access { kNone, kReading, kWriting };

  using IsAlive = bool (*)(const char* marker);
  std::vector<std::string> OtherMarkers(const char* wanted_class, IsAlive is_alive) const;
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
  bool IsOwnedByTwin() const;
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
  // This instance lost its marker, and an instance on another computer has the same process id and took its
  // identity.
  bool has_twin_ = false;
  // Rows that an earlier instance of this process left under this identity may still be in the table.
  bool former_rows_due_ = false;
};

#endif
