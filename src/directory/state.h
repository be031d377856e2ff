#ifndef TVL_DIRECTORY_STATE_H
#define TVL_DIRECTORY_STATE_H

#include <memory>
#include <string>
#include <vector>

#include <tvlclient/smb_opr.h>

#include "config/config.h"
#include "directory/left_out.h"
#include "directory/sync_results.h"
#include "platform/transfer_group.h"
#include "platform/writing.h"
#include "presence/connection.h"

// The state of a directory connection in addition to that of the base class, and what its operations share.
struct CTVLClientSmbOpr::State {
  explicit State(CTVLClientSmbOpr& owner) : opr(owner) {}
  // Presence and locks stay with the source.
  State(CTVLClientSmbOpr& owner, const State& other);
  State& operator=(const State& other);
  ~State() = default;

  // Returns false in a forked child of the process that opened the connection, which cannot use it.
  [[nodiscard]] bool IsAlive() const { return connection != nullptr && connection->IsOwnProcess(); }

  // Returns how the connection writes its targets. `failure` is the code for a target that a group could not
  // complete.
  [[nodiscard]] tvl::Writing Writing(int failure) const {
    return {.safety = tvl::SafetyOf(config.safe_on_transfert), .group = group.get(), .failure = failure};
  }

  // Returns true if operations that only read the store are allowed: on an open connection, and after
  // Preview.
  [[nodiscard]] bool MayLook() const { return previewed || IsAlive(); }

  // What looks at the store after Preview, without a presence of its own; null on an open connection.
  [[nodiscard]] std::unique_ptr<CConnection> NewReader() const;

  // Parts of `Open` and Preview. Each may throw std::bad_alloc.
  int SettleDirectories(char* directory);
  void DescribeStore();
  void TakeSettings();
  void Register(const char* className);

  // Returns whether the values of the store can be read.
  [[nodiscard]] int EnvironCode() const;

  // Copies a file, in compressed form if the store wants that. With `must_be_new`, returns kAppeared if the
  // target exists.
  int Transfer(const char* source, const char* target, int equal_times, bool must_be_new) const;
  int TransferUnlessEqual(const char* source, const tvl::FileStatus* status, const char* target,
                          const char* base, int* transferred) const;
  int CopyTree(const char* source, const char* target, ProgressCallback callback, void* userData) const;
  [[nodiscard]] bool SyncFolders(const char* base, const char* target) const;
  // Return the codes for a file that could not be read, and for one that could not be written.
  [[nodiscard]] int CopyFailure() const;
  [[nodiscard]] int TargetFailure() const;

  int LowCTFileOpen(char* name, int& handle, int& datLen, int& key1Len, int& key2Len, int create);
  int OpenNewTable(const char* path, int datLen, int key1Len, int key2Len, int create);
  int RecreateTable(int index, int datLen, int key1Len, int key2Len);
  void CloseTables();

  class SyncPlanner;
  class SyncWorker;
  int SyncDirOpen(const char* source, const char* target, const char* pattern, SYNC_DIR_FILE_EXCLUDE exclude,
                  unsigned int* total);

  CTVLClientSmbOpr& opr;
  CConfig config;
  std::unique_ptr<CConnection>
      connection;  // uses texts of `config`, so it is destroyed first; null while none is open
  char serverRoot[tvl::kMaxPath] = {};  // full path of the document root, with a trailing backslash
  bool met_table_damage = false;
  std::unique_ptr<tvl::TransferGroup> group;  // between BeginTransfers and EndTransfers
  bool expects_new = false;                   // of transfers, see TransfersExpectNew
  bool previewed = false;
  bool folders_later = false;  // a synchronization creates its folders with the work, not with the plan
  bool set_times = false;      // and sets the times of what it copied
  std::string backup_folder;   // and keeps there what it replaces and deletes, unless this is empty
  std::vector<tvl::LeftOut> left_out;  // of the plan
  tvl::SyncResults sync_results;       // of the plan that was carried out last
};

#endif
