#ifndef TVLCLIENT_SMB_OPR_H
#define TVLCLIENT_SMB_OPR_H

#include <tvlclient/client_opr.h>
#include <tvlclient/store.h>

// An existing lock and its owner. The texts are valid only during the callback. If `alive` is 0, the owner is
// dead and the next client that asks for the object gets the lock.
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

// Receives one value of the section "Environments". The texts are valid only during the callback.
typedef void (*EnvironCallback)(const char* name, const char* value, void* userData);

// What CheckConfig finds in a configuration.
enum TVL_CONFIG_PROBLEM {
  TVL_CONFIG_UNKNOWN_KEY = 1,     // no such key exists in the section "TavolisFileSystem"
  TVL_CONFIG_USELESS_VALUE = 2,   // the key does not know this value
  TVL_CONFIG_UNDEFINED_NAME = 3,  // a value refers to a variable that does not exist
  TVL_CONFIG_CIRCULAR_NAME = 4    // a value refers to a variable that refers back to it
};

// Receives one finding: the key or variable, and the value or the name that it refers to. The texts
// are valid only during the callback.
typedef void (*ConfigProblemCallback)(TVL_CONFIG_PROBLEM problem, const char* key, const char* text,
                                      void* userData);

// Result of one copy of a group; see CTVLClientSmbOpr::EndTransfers.
typedef void (*TransferCallback)(int index, int code, void* userData);

// The kind of a file in the source of a synchronization.
enum SYNC_PLAN_KIND {
  SYNC_PLAN_UNKNOWN = 0,  // could not be examined
  SYNC_PLAN_FILE = 1,
  SYNC_PLAN_OTHER = 2,   // a pipe, a socket or a device
  SYNC_PLAN_NOTHING = 3  // a dangling link
};

// Why a listing or a plan cannot use a name.
enum TVL_LEFT_OUT {
  TVL_LEFT_OUT_NOT = 0,
  TVL_LEFT_OUT_BACKSLASH = 1,  // a name with a backslash, which no path can express
  TVL_LEFT_OUT_LEADS_BACK = 2  // a link to a parent folder, which would make the walk endless
};

// One name in a folder. `name` is valid only during the callback.
struct TVLDirEntry {
  const char* name;
  int isFolder;  // also 1 for a link to a folder
  TVL_LEFT_OUT leftOut;
};

typedef void (*DirEntryCallback)(const TVLDirEntry* entry, void* userData);

// An update pack of GetUpdatePacks. The texts are valid only during the callback.
struct TVLUpdatePack {
  int number;
  const char* suffix;  // may be empty
  const char* file;
};

typedef void (*UpdatePackCallback)(const TVLUpdatePack* pack, void* userData);

// A connection to a store that is a directory tree, usually on a network share, without a server process.
//
// The base class documents the operations. Those of files and trees do not check whether the connection is
// open: they use the folders that the last `Open` determined.
class TVL_API CTVLClientSmbOpr : public CTVLClientOpr {
 public:
  CTVLClientSmbOpr();
  // A copy gets the texts and settings of the source and starts closed. Configuration, presence and locks
  // stay with the source.
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

  // Returns the full path of the document root with a trailing backslash; empty before the first `Open`.
  const char* ServerRoot() const;

  // Compares the files as a get or a put of these names would, and changes nothing. Sets `equal`, which must
  // not be null, to 1 if the compare policy finds both copies equal, else to 0. Returns TVL_OK, or
  // TVL_ERR_SERVER_FILE or TVL_ERR_LOCAL_FILE if a path is too long.
  int CompareRemote(char* remoteName, char* localName, int* equal);

  // Reads the configuration as `Open` does, but creates no folder, presence or lock table, and the connection
  // stays closed: for programs that show what would be done. Afterwards the fields that describe the store,
  // CompareRemote, ExistsRemote, GetRemoteDirContent, GetEnviron, GetUpdatePacks, ListInstances, ListLocks
  // and the operations of tables can be used. The arguments are those of `Open`. Returns TVL_OK,
  // TVL_ERR_ROOT_UNDEFINED, TVL_ERR_TMP_UNDEFINED, TVL_ERR_ROOT_INVALID if the document root is not a folder,
  // TVL_ERR_LOCAL_FILE if a path does not fit, or TVL_ERR_ALREADY_CONNECTED on an open connection.
  int Preview(char* workingDirectory, const char* configFile);

  // With `later` 1, SyncDirOpen... creates no folders, so that a plan can be shown and dropped without
  // changes; SyncDirSyncronize creates the folders. Applies to later calls until it is set to 0. Works after
  // Preview too.
  void SyncPlanFoldersLater(int later);

  // Returns 1 while this connection's presence marker exists and is held, else 0. Without presence other
  // clients ignore the locks of this connection, although `Lock` reports state 1 (see `Lock` in the base
  // class). Returns 0 on a connection that is not open.
  int IsPresent();

  // Returns 1 if other clients see this connection as the owner of the lock on `object`: it is present, and
  // the row of the lock table names it and its process. Returns 0 otherwise, including on a connection that
  // is not open, or if the table cannot be read within 10 s. Changes nothing.
  int HoldsLock(const char* object);

  // With `on` 1, SyncDirSyncronize sets the times of each target to those of its source after the copy, as
  // get and put do, so that the policy "time" finds them equal even with compression or if the target has
  // another owner.
  void SyncPlanSetTimes(int on);

  // With a folder, a full path, SyncDirSyncronize keeps there what it replaces and deletes, under the name
  // that it had in the target, and with a number if an older backup has this name. An entry whose files
  // cannot be kept fails and is not carried out. Null or an empty path ends this. Returns TVL_OK, or
  // TVL_ERR_BAD_PATH if the path is too long.
  int SyncPlanBackups(const char* folder);

  // Stores the result of an entry that SyncDirSyncronize has carried out in `code`: TVL_OK, TVL_ERR_COPY,
  // TVL_ERR_DELETE_FILE, TVL_ERR_DELETE_DIR, TVL_ERR_CREATE_DIR, TVL_ERR_ZIP, TVL_ERR_UNZIP or
  // TVL_ERR_STOPPED. Returns 1, or 0 if there is no result yet. May be called within the callback and until
  // the next SyncDirSyncronize.
  int SyncPlanResult(int index, int* code) const;
  // Stores why that entry failed, as far as known: the errno value, and the path, which is valid until the
  // next SyncDirSyncronize. Returns 0 for an entry that did not fail.
  int SyncPlanFailure(int index, int* error, const char** path) const;

  // Stores the kind and the full size of the source of an entry to keep or to copy. Returns 0 if `index` is
  // out of range.
  int SyncPlanSource(int index, SYNC_PLAN_KIND* kind, unsigned long long* size) const;

  // Lists the names that SyncDirOpen... had to omit since the list was last empty: the full path of the
  // folder, and the name in it, both valid until the next SyncDirOpen... `inTarget` is 1 for a name that
  // exists on the target side only. Returns 0 if `index` is out of range.
  int SyncPlanLeftOut(int index, const char** folder, const char** name, TVL_LEFT_OUT* reason,
                      int* inTarget) const;

  // Returns 1 if a synchronization with this pattern and exclusion ignores `name`, else 0.
  static int SyncPlanPassesOver(const char* name, const char* pattern, SYNC_DIR_FILE_EXCLUDE exclude);

  // Calls `callback` for each name in a folder of the store that matches `pattern`, including those that
  // GetRemoteDirContent has to omit. A name may contain "|". Returns TVL_OK, TVL_ERR_SERVER_FILE if
  // `directory` is not a folder or cannot be read completely, or TVL_ERR_STOPPED.
  int ListRemoteDir(const char* directory, const char* pattern, DirEntryCallback callback, void* userData);

  // Calls `callback` for each update pack with `prefix`, in the order of GetUpdatePacks. Returns TVL_OK.
  int ListUpdatePacks(const char* prefix, UpdatePackCallback callback, void* userData);

  // Calls `callback` for every existing lock in the order of the objects' names. Changes nothing. Works on an
  // open connection and after Preview. Returns TVL_OK, TVL_ERR_NOT_CONNECTED, or TVL_ERR_SERVER_FILE if the
  // lock table cannot be read.
  int ListLocks(StandingLockCallback callback, void* userData);

  // Calls `callback` for each other live instance of a class, or of all for "*". On an open connection the
  // markers of dead instances are removed, as by GetProcessesList; after Preview nothing is changed. Returns
  // TVL_OK, TVL_ERR_NOT_CONNECTED, or TVL_ERR_SERVER_FILE if memory ran out.
  int ListInstances(const char* className, TVLInstanceCallback callback, void* userData);

  // Calls `callback` for each value of the section "Environments" in the order of the file, as GetEnviron
  // returns it. To delete a value, call PutEnviron with null. Returns TVL_OK, TVL_ERR_NOT_CONNECTED, or
  // TVL_ERR_BAD_PATH if the file cannot be read.
  int ListEnviron(EnvironCallback callback, void* userData);

  // Returns 1 if the last CTFileRead or CTFileDelete of this connection met a key or record that is damaged
  // or unreadable, else 0. Such a read returns TVL_OK as if there were no more rows, so rows may be missing
  // from its result. CTVLCtreeRs reads through CTFileRead.
  int MetTableDamage() const;

  // Describes the store of the configuration, on an open connection, after Preview and after ReadConfig.
  // Returns TVL_OK, TVL_ERR_NOT_CONNECTED if there is no configuration, or TVL_ERR_BAD_PATH if a path is too
  // long.
  int StoreLayout(TVLStoreLayout* layout);

  // Reads and expands `configFile` without creating folders, for programs that show a configuration. Returns
  // TVL_OK, TVL_ERR_ROOT_UNDEFINED, TVL_ERR_TMP_UNDEFINED, or TVL_ERR_ALREADY_CONNECTED on an open
  // connection.
  int ReadConfig(const char* configFile);
  // The variables of the configuration with their references expanded. `index` ranges from 0 to ConfigCount()
  // - 1; otherwise the result is null. The texts are valid until the configuration changes.
  int ConfigCount() const;
  const char* ConfigName(int index) const;
  const char* ConfigValue(int index) const;
  // Returns the section that the variable was taken from, or an empty text for a default of the library.
  const char* ConfigOrigin(int index) const;
  // Settings of the configuration: FileCompare (0 dumb, 1 hash, 2 time), and whether transfers are
  // compressed.
  int ConfigFileCompare() const;
  int ConfigZipOnTransfert() const;
  // Returns how targets are written: 0 in place, 1 as whole files, 2 as whole files that are synced.
  int ConfigSafeOnTransfert() const;

  // Reads `configFile` as ReadConfig does and calls `callback` for everything in it that has no effect, or
  // not the one that its author will have meant. Returns what ReadConfig returns.
  int CheckConfig(const char* configFile, ConfigProblemCallback callback, void* userData);

  // Groups of transfers. With SafeOnTransfert 2 each copy waits for the disk. In a group, copies are written
  // but do not replace their targets yet; EndTransfers syncs all of them, replaces the targets and syncs
  // their folders. With SafeOnTransfert 1, targets are replaced in the background, and EndTransfers waits for
  // that; a copy also fails if another process removes its unfinished file as that of a killed process. With
  // SafeOnTransfert 0 a group has no effect.
  //
  // BeginTransfers returns TVL_OK, TVL_ERR_ALREADY_CONNECTED if a group is open, or TVL_ERR_COPY if memory
  // ran out, in which case there is no group. EndTransfers calls `callback`, which may be null, once for each
  // copy of the group in the order of the calls, numbered from 0. A copy is a call that returned TVL_OK and
  // copied a file: GetRemote and PutRemote that set `transferred` to 1, CopyRemoteFile2Dir,
  // CopyServer2Server, CopyLocalFile2RemoteFile. `code` is TVL_OK, or TVL_ERR_COPY or TVL_ERR_UNZIP for a
  // file that did not replace its target or may not survive a power failure. EndTransfers returns the first
  // of these failures, or TVL_OK, even if no group is open.
  //
  // A group should end once TransfersFull returns 1: at 1,000 files, 256 MiB, or half of the descriptors that
  // the process may open. Until then, other operations may see the old targets. Closing the connection
  // discards an open group and, with SafeOnTransfert 2, its copies. Operations on trees use groups of their
  // own.
  int BeginTransfers();
  int TransfersFull() const;
  int EndTransfers(TransferCallback callback, void* userData);

  // Sets whether the files of the next calls of GetRemote and PutRemote are probably missing on the other
  // side, as the listing of a folder has shown. These calls then create the file without examining the other
  // side, which saves requests on a share; if the file exists after all, it is compared and replaced as
  // usual. Initially off.
  void TransfersExpectNew(int expect);

  // Returns why the last copy of the calling thread was written in place although SafeOnTransfert is not 0,
  // or null if it was not. The text is static.
  const char* WhyInPlace() const;

 private:
  struct TVL_HIDDEN State;
  State* state;
};

#endif
