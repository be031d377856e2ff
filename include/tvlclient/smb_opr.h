#ifndef TVLCLIENT_SMB_OPR_H
#define TVLCLIENT_SMB_OPR_H

#include <tvlclient/client_opr.h>

// A standing lock and its owner, whose texts live until the callback returns. `alive` 0: the owner is dead,
// and whoever asks for the object next gets it.
struct TVLStandingLock {
  const char* object;
  const char* computer;
  const char* ipAddress;
  const char* className;
  int instance;
  int pid;
  const char* user;
  int alive;
};

typedef void (*StandingLockCallback)(const TVLStandingLock* lock, void* userData);

// Receives one value of the section "Environments". The texts live until the callback returns.
typedef void (*EnvironCallback)(const char* name, const char* value, void* userData);

// Result of one copy of a group; see CTVLClientSmbOpr::EndTransfers.
typedef void (*TransferCallback)(int index, int code, void* userData);

// What the plan of a synchronisation found under the name of a file of the source.
enum SYNC_PLAN_KIND {
  SYNC_PLAN_UNKNOWN = 0,  // could not be examined
  SYNC_PLAN_FILE = 1,
  SYNC_PLAN_OTHER = 2,   // a pipe, a socket or a device
  SYNC_PLAN_NOTHING = 3  // a link to nothing
};

// Why a listing or a plan cannot use a name.
enum TVL_LEFT_OUT {
  TVL_LEFT_OUT_NOT = 0,
  TVL_LEFT_OUT_BACKSLASH = 1,  // in the name: no path could say it
  TVL_LEFT_OUT_LEADS_BACK = 2  // a link to a folder that the walk is in: it would not end
};

// One name of a folder. `name` lives until the callback returns.
struct TVLDirEntry {
  const char* name;
  int isFolder;  // 1 also for a link to a folder
  TVL_LEFT_OUT leftOut;
};

typedef void (*DirEntryCallback)(const TVLDirEntry* entry, void* userData);

// An update pack, as GetUpdatePacks lists it. The texts live until the callback returns.
struct TVLUpdatePack {
  int number;
  const char* suffix;  // may be empty
  const char* file;
};

typedef void (*UpdatePackCallback)(const TVLUpdatePack* pack, void* userData);

// A connection to a store that is a directory tree, as a rule on a network share, with no server process.
//
// The base class tells what the operations do. Those of files and trees do not ask whether the connection is
// open: they work on the folders that the last `Open` settled.
class TVL_API CTVLClientSmbOpr : public CTVLClientOpr {
 public:
  CTVLClientSmbOpr();
  // A copy has the source's texts and settings and starts closed: configuration, presence and locks stay with
  // the source.
  CTVLClientSmbOpr(const CTVLClientSmbOpr& other);
  CTVLClientSmbOpr& operator=(const CTVLClientSmbOpr& other);
  ~CTVLClientSmbOpr() override;

  int Open(char* workingDirectory, char* configFile, char* host, unsigned int port, char* className,
           char* clientTag) override;
  int Open(char* workingDirectory, char* configFile, char* className) override;
  int Close() override;
  int Lock(char* object, int* state, char* computer, int* instance, int* pid, char* ipAddress,
           char* user) override;
  int Unlock(char* object, int* state, char* computer, int* instance, int* pid, char* ipAddress,
             char* user) override;
  int GetProcessesList(char* className, int& count, CString& list) override;
  int GetRemote(char* remoteName, char* localName, int* transferred) override;
  int CopyRemoteFile2Dir(char* remoteName, char* localPath) override;
  int ExistsRemote(char* remoteName) override;
  int PutRemote(char* remoteName, char* localName, int* transferred) override;
  int GetRemoteDirContent(char* directory, char* pattern, int* count, CString& list) override;
  int CreateServerDir(char* directory) override;
  int DeleteServerDir(char* directory) override;
  int DeleteServerFile(char* file) override;
  int RenameServerFile(char* oldName, char* newName) override;
  int CopyServer2Server(char* source, char* target, int targetIsDirectory) override;
  int CopyServerDir2ServerDir(char* source, char* target, ProgressCallback callback, void* userData) override;
  int CopyRemoteDir2LocalDir(char* remoteDirectory, char* localDirectory, ProgressCallback callback,
                             void* userData) override;
  int CopyLocalDir2RemoteDir(char* localDirectory, char* remoteDirectory, ProgressCallback callback,
                             void* userData) override;
  int CopyLocalFile2RemoteFile(char* localFile, char* remoteFile) override;
  using CTVLClientOpr::SyncDirOpenGetRemote;
  using CTVLClientOpr::SyncDirOpenPutRemote;
  int SyncDirOpenGetRemote(char* remoteDirectory, char* localDirectory, char* pattern,
                           SYNC_DIR_FILE_EXCLUDE exclude, unsigned int* total) override;
  int SyncDirOpenPutRemote(char* remoteDirectory, char* localDirectory, char* pattern,
                           SYNC_DIR_FILE_EXCLUDE exclude, unsigned int* total) override;
  int SyncDirSyncronize(ProgressCallback callback, void* userData) override;
  int CTFileInit(char* name, int& handle, int datLen, int key1Len, int key2Len) override;
  int CTFileOpen(char* name, int& handle, int& datLen, int& key1Len, int& key2Len) override;
  int CTFileClose(int handle) override;
  int CTFileRead(int handle, int prefix, int& rows, char* readList, int keyNumber, void* block) override;
  int CTFileWrite(int handle, int several, int rows, void* block) override;
  int CTFileDelete(int handle, int prefix, char* deleteList) override;
  int GetEnviron(const char* name, const char* defaultValue, CString& value) override;
  int PutEnviron(const char* name, const char* value) override;
  char* DocumentRoot() override;
  int GetUpdatePacks(char* prefix, int& count, CString& list) override;

  // --- Additions of this implementation ---

  // Full path of the document root with a trailing backslash; empty before the first `Open`.
  const char* ServerRoot() const;

  // Answers what a get or a put of these names would find, and changes nothing: 1 into `equal` if the compare
  // policy finds both copies equal, else 0. `equal` must not be null. 0; 20 or 21 if a path does not fit.
  int CompareRemote(char* remoteName, char* localName, int* equal);

  // Reads the configuration as `Open` does, but creates no folder, presence or lock table, and the connection
  // stays closed: for programs that show what would be done. Then the fields that describe the store, and
  // CompareRemote, ExistsRemote, GetRemoteDirContent, GetEnviron, GetUpdatePacks, ListLocks and the
  // operations of tables can be used. Arguments as for `Open`. Returns TVL_OK, TVL_ERR_ROOT_UNDEFINED,
  // TVL_ERR_TMP_UNDEFINED, TVL_ERR_ROOT_INVALID if the document root is not a folder, TVL_ERR_LOCAL_FILE if a
  // path does not fit, or TVL_ERR_ALREADY_CONNECTED on an open connection.
  int Preview(char* workingDirectory, const char* configFile);

  // With `later` 1 the opens of a synchronisation make no folder, so that a plan can be shown and dropped
  // without a trace; SyncDirSyncronize makes the folders then. Holds for opens to come, until set to 0. Works
  // after Preview too.
  void SyncPlanFoldersLater(int later);

  // Returns 1 while this connection's presence marker exists and is held, else 0. Without presence the
  // connection's locks count for nobody else, although `Lock` answers 1 (see `Lock` in the base class).
  // Returns 0 on a connection that is not open.
  int IsPresent();

  // Returns 1 if this connection holds the lock on `object` in the eyes of all others: it is present, and the
  // lock table's row for the object names it and its process. Returns 0 otherwise, also on a connection that
  // is not open or when the table cannot be read within 10 s. Changes nothing.
  int HoldsLock(const char* object);

  // With `on` 1 SyncDirSyncronize gives each target the times of its source after the copy, as a get and a
  // put do, so that the policy "time" finds them equal also with packing or where the target has another
  // owner.
  void SyncPlanSetTimes(int on);

  // The result of an entry that SyncDirSyncronize carried out, also within its callback and until the next
  // call: 1, with TVL_OK, 22, 23, 24, 25, 27, 28 or TVL_ERR_STOPPED in `code`; 0 if there is none (yet).
  int SyncPlanResult(int index, int* code) const;
  // Why that entry failed, as far as known: errno value and path, which lives until the next
  // SyncDirSyncronize. 0 for an entry that did not fail.
  int SyncPlanFailure(int index, int* error, const char** path) const;

  // What the source of an entry to keep or to copy is, and its whole size. 0 for an impossible `index`.
  int SyncPlanSource(int index, SYNC_PLAN_KIND* kind, unsigned long long* size) const;

  // The names that the opens since the list was last empty had to leave out: their folder's full path and the
  // name in it, which live until the next open. `inTarget` 1: on the target's side, where it has no partner.
  // 0 for an impossible `index`.
  int SyncPlanLeftOut(int index, const char** folder, const char** name, TVL_LEFT_OUT* reason,
                      int* inTarget) const;

  // 1 if an open with this pattern and exclusion passes over `name`, else 0.
  static int SyncPlanPassesOver(const char* name, const char* pattern, SYNC_DIR_FILE_EXCLUDE exclude);

  // Calls `callback` for each name in a folder of the store that matches `pattern`, also for those that
  // GetRemoteDirContent has to leave out. Unlike in its list, a name may contain "|". Returns TVL_OK;
  // TVL_ERR_SERVER_FILE if `directory` is not a folder or cannot be read to its end; TVL_ERR_STOPPED.
  int ListRemoteDir(const char* directory, const char* pattern, DirEntryCallback callback, void* userData);

  // Calls `callback` for each update pack with `prefix`, in the order of GetUpdatePacks. Returns TVL_OK.
  int ListUpdatePacks(const char* prefix, UpdatePackCallback callback, void* userData);

  // Calls `callback` for every standing lock in the order of the objects' names, and changes nothing. Works
  // on an open connection and after Preview. Returns TVL_OK, TVL_ERR_NOT_CONNECTED, or TVL_ERR_SERVER_FILE if
  // the lock table cannot be read.
  int ListLocks(StandingLockCallback callback, void* userData);

  // Calls `callback` for each value of the section "Environments", in the file's order, as GetEnviron returns
  // it. PutEnviron with a null value deletes one. Returns TVL_OK, TVL_ERR_NOT_CONNECTED, or TVL_ERR_BAD_PATH
  // if the file cannot be read.
  int ListEnviron(EnvironCallback callback, void* userData);

  // 1 if the last CTFileRead or CTFileDelete of this connection met a key or a record that is damaged or
  // could not be read, else 0. Such a read ends like one that finds nothing, with the result TVL_OK, so rows
  // may be missing from its answer. CTVLCtreeRs reads through CTFileRead.
  int MetTableDamage() const;

  // Reads and expands `configFile` on a connection that is not open, without making a folder: for programs
  // that show a configuration. 0 or 3, 5; 9 on an open connection.
  int ReadConfig(const char* configFile);
  // The variables of the configuration, expanded. `index` from 0 to ConfigCount() - 1; null outside. The
  // texts live until the configuration changes.
  int ConfigCount() const;
  const char* ConfigName(int index) const;
  const char* ConfigValue(int index) const;
  // Settings of the configuration as read: 0 dumb, 1 hash, 2 time; and whether files travel compressed.
  int ConfigFileCompare() const;
  int ConfigZipOnTransfert() const;
  // How targets are written: 0 in place, 1 whole, 2 whole and synced.
  int ConfigSafeOnTransfert() const;

  // Groups. With SafeOnTransfert 2 each copy waits for the disk. Between these two calls, copies are written
  // but not yet in place; EndTransfers syncs them together, puts them in their places and syncs these. With
  // other levels copies are complete at once, and a group changes nothing.
  //
  // BeginTransfers returns TVL_OK, TVL_ERR_ALREADY_CONNECTED if a group is open, or TVL_ERR_COPY if memory
  // ran out; copies are then complete at once. EndTransfers calls `callback` (may be null) once for each copy
  // of the group in the order of the calls, numbered from 0. A copy is a call that returned TVL_OK and copied
  // a file: GetRemote and PutRemote that set `transferred` to 1, CopyRemoteFile2Dir, CopyServer2Server,
  // CopyLocalFile2RemoteFile. `code` is TVL_OK, or TVL_ERR_COPY or TVL_ERR_UNZIP for a file that is not in
  // place or may not survive a loss of power. EndTransfers returns the first of these failures, or TVL_OK,
  // also where no group is open.
  //
  // A group should end once TransfersFull returns 1: at 1,000 files, 256 MiB, or half of the descriptors that
  // the process may open. Until then, other operations see the targets as they were. Closing the connection
  // drops an open group and its copies. Trees are groups of their own.
  int BeginTransfers();
  int TransfersFull() const;
  int EndTransfers(TransferCallback callback, void* userData);

  // Why the calling thread's last copy was written in place, although SafeOnTransfert is not 0; null if it
  // was not. The text is static.
  const char* WhyInPlace() const;

 private:
  TVL_HIDDEN int EnvironCode() const;
  TVL_HIDDEN int SettleDirectories(char* directory);
  TVL_HIDDEN void DescribeStore();
  TVL_HIDDEN void TakeSettings();
  TVL_HIDDEN void Register(const char* className);
  TVL_HIDDEN void CloseTables();
  TVL_HIDDEN int LowCTFileOpen(char* name, int& handle, int& datLen, int& key1Len, int& key2Len, int create);
  TVL_HIDDEN int OpenNewTable(const char* path, int datLen, int key1Len, int key2Len, int create);
  TVL_HIDDEN int RecreateTable(int index, int datLen, int key1Len, int key2Len);
  TVL_HIDDEN int CopyFailure() const;
  TVL_HIDDEN int TargetFailure() const;
  TVL_HIDDEN int Transfer(const char* source, const char* target, int equalTimes);
  TVL_HIDDEN int TransferUnlessEqual(const char* source, const char* target, const char* base,
                                     int* transferred);
  TVL_HIDDEN bool SyncFolders(const char* base, const char* target) const;
  TVL_HIDDEN int CopyTree(const char* source, const char* target, ProgressCallback callback, void* userData);
  TVL_HIDDEN static void EqualFileTimes(const char* source, const char* target);
  TVL_HIDDEN int SyncDirOpen(const char* source, const char* target, const char* pattern,
                             SYNC_DIR_FILE_EXCLUDE exclude, unsigned int* total);
  class TVL_HIDDEN SyncPlanner;
  class TVL_HIDDEN SyncWorker;
  struct TVL_HIDDEN State;
  State* state;
};

#endif
