#ifndef TVLCLIENT_CLIENT_OPR_H
#define TVLCLIENT_CLIENT_OPR_H

#include <tvlclient/cstring.h>
#include <tvlclient/errors.h>
#include <tvlclient/export.h>

// Progress callback, called once for each file or folder that a long operation reaches, with its path, its
// size in bytes (0 for a folder) and the caller's `userData`. The path is valid only during the call.
typedef void (*ProgressCallback)(char* path, unsigned int size, void* userData);

// Files that a synchronization ignores, by extension. Values may be combined.
enum SYNC_DIR_FILE_EXCLUDE {
  SYNC_DIR_FILE_EXCLUDE_NONE = 0,
  SYNC_DIR_FILE_EXCLUDE_DATABASE = 1,  // ".mdb", ".ldb"
  SYNC_DIR_FILE_EXCLUDE_DOCUMENT = 2,  // ".doc", ".docx", ".rtf"
  SYNC_DIR_FILE_EXCLUDE_PDF = 4        // ".pdf"
};

// The planned action of a synchronization for one entry.
enum SYNC_DIR_FILE_OPERATION {
  SYNC_DIR_FILE_KEEP = 0,    // equal on both sides
  SYNC_DIR_FILE_DELETE = 1,  // only on the target: to be deleted
  SYNC_DIR_FILE_FOLDER = 2,  // a pair of folders
  SYNC_DIR_FILE_COPY = 3     // a file to be copied
};

struct CtOpenedFile;
struct SyncDirFile;
struct SyncDirIndex;

// A connection to a store of either kind, with the operations that applications use.
//
// Life cycle: construct CTVLClientSmbOpr (a directory) or CTVLClientTcpOpr (a server), call `Open`, any
// operations in any order, and `Close`, then destroy it. Destroying an open connection closes it. A
// connection belongs to the process that opened it and cannot be used in a forked child.
//
// Names in the store are relative to the store, local names to the working directory. Both kinds of slashes
// are allowed. Path buffers have 260 bytes including the terminator; with a longer path an operation fails
// with its code for that file. Every operation returns TVL_OK or a code of errors.h, and none throws.
//
// Threads: one connection serves one thread at a time; several connections may serve several threads. Long
// operations call the pump hook of the calling thread regularly (TVLSetPumpHook). The hook must not use the
// same connection.
class TVL_API CTVLClientOpr {
 public:
  virtual ~CTVLClientOpr();

  // --- Connection ---

  // Connects to a server; see TVLConnect2Tcp for the arguments. Returns TVL_ERR_NOT_SUPPORTED on a directory
  // connection.
  virtual int Open(char* workingDirectory, char* configFile, char* host, unsigned int port, char* className,
                   char* clientTag) = 0;
  // Connects to a directory store; see TVLConnect2Dir for the arguments. Returns TVL_ERR_NOT_SUPPORTED on a
  // TCP connection.
  virtual int Open(char* workingDirectory, char* configFile, char* className) = 0;
  // Ends the connection with its presence and its locks. Returns TVL_OK, or TVL_ERR_NOT_CONNECTED if it is
  // not open.
  virtual int Close() = 0;

  // --- Locks and presence. See TVLLockObject and TVLUnlockObject; these functions do not clear the outputs
  // ---

  // If the marker of this instance could not be created, it has no presence. Then `Lock` still reports state
  // 1, but other clients ignore the lock. Call `IsPresent` or `HoldsLock` of the derived classes before
  // relying on a lock.
  virtual int Lock(char* object, int* state, char* computer, int* instance, int* pid, char* ipAddress,
                   char* user) = 0;
  virtual int Unlock(char* object, int* state, char* computer, int* instance, int* pid, char* ipAddress,
                     char* user) = 0;
  // Lists the marker names of the other live instances of a class, each followed by "|". The class "*" means
  // all classes.
  virtual int GetProcessesList(char* className, int& count, CString& list) = 0;

  // --- Files. See TVLGetFile for `transferred` ---

  virtual int GetRemote(char* remoteName, char* localName, int* transferred) = 0;
  // Copies a file of the store to any place. `localPath` is a folder, or a file if its last component is that
  // of `remoteName`.
  virtual int CopyRemoteFile2Dir(char* remoteName, char* localPath) = 0;
  // Returns TVL_OK if the store has a file or folder of that name, else TVL_ERR_SERVER_FILE.
  virtual int ExistsRemote(char* remoteName) = 0;
  virtual int PutRemote(char* remoteName, char* localName, int* transferred) = 0;

  // --- The store's tree ---

  // Appends the names in a folder that match `pattern` ("*.*" matches all) to `list`, separated by "|", and
  // stores their number in `count`. Returns TVL_ERR_SERVER_FILE, without changing the outputs, if `directory`
  // is not a folder.
  virtual int GetRemoteDirContent(char* directory, char* pattern, int* count, CString& list) = 0;
  virtual int CreateServerDir(char* directory) = 0;
  virtual int DeleteServerDir(char* directory) = 0;
  virtual int DeleteServerFile(char* file) = 0;
  virtual int RenameServerFile(char* oldName, char* newName) = 0;
  virtual int CopyServer2Server(char* source, char* target, int targetIsDirectory) = 0;
  virtual int CopyServerDir2ServerDir(char* source, char* target, ProgressCallback callback,
                                      void* userData) = 0;
  virtual int CopyRemoteDir2LocalDir(char* remoteDirectory, char* localDirectory, ProgressCallback callback,
                                     void* userData) = 0;
  virtual int CopyLocalDir2RemoteDir(char* localDirectory, char* remoteDirectory, ProgressCallback callback,
                                     void* userData) = 0;
  virtual int CopyLocalFile2RemoteFile(char* localFile, char* remoteFile) = 0;

  // --- Synchronization of two trees: SyncDirOpen... makes a plan, SyncDirSyncronize carries it out ---

  virtual int SyncDirOpenGetRemote(char* remoteDirectory, char* localDirectory, char* pattern,
                                   SYNC_DIR_FILE_EXCLUDE exclude, unsigned int* total) = 0;
  virtual int SyncDirOpenPutRemote(char* remoteDirectory, char* localDirectory, char* pattern,
                                   SYNC_DIR_FILE_EXCLUDE exclude, unsigned int* total) = 0;
  virtual int SyncDirSyncronize(ProgressCallback callback, void* userData) = 0;

  // --- Keyed tables, as record sets use them ---

  virtual int CTFileInit(char* name, int& handle, int datLen, int key1Len, int key2Len) = 0;
  virtual int CTFileOpen(char* name, int& handle, int& datLen, int& key1Len, int& key2Len) = 0;
  virtual int CTFileClose(int handle) = 0;
  virtual int CTFileRead(int handle, int prefix, int& rows, char* readList, int keyNumber, void* block) = 0;
  virtual int CTFileWrite(int handle, int several, int rows, void* block) = 0;
  virtual int CTFileDelete(int handle, int prefix, char* deleteList) = 0;

  // --- Values and update packs of the store ---

  virtual int GetEnviron(const char* name, const char* defaultValue, CString& value) = 0;
  virtual int PutEnviron(const char* name, const char* value) = 0;
  // Returns the configured document root with its references expanded; null on a TCP connection.
  virtual char* DocumentRoot() = 0;
  virtual int GetUpdatePacks(char* prefix, int& count, CString& list) = 0;

  // --- State. The texts belong to the object ---

  int IsOpened() const { return opened; }
  // Returns 1 if working directory and store are the same folder, so that there is nothing to transfer, else
  // 0.
  int DumbMode() const { return dumbMode; }
  // Returns how files are compared: 0 not at all, 1 by hash, 2 by time.
  int FileCmp() const { return fileCmp; }
  int ZipOnTransfert() const { return zipOnTransfert; }
  int InstanceId() const { return instanceId; }
  char* ComputerName() { return computerName; }
  char* User() { return user; }
  char* ShortName() { return shortName; }
  char* LongName() { return longName; }
  // Returns 40 hexadecimal digits that are the same for all clients that use the store by the same path.
  char* ServerID() { return serverId; }
  char* VersionFile() { return versionFile; }
  char* UpdateDir() { return updateDir; }
  // Returns the version total of the store, and stores its two parts through pointers that are not null.
  unsigned int VersionNumber(unsigned int* major, int* minor) const;

  // --- Short forms: with the pattern "*.*", without exclusion, or with one name for both sides ---

  int SyncDirOpenGetRemote(char* remoteDirectory, char* localDirectory, SYNC_DIR_FILE_EXCLUDE exclude,
                           unsigned int* total);
  int SyncDirOpenGetRemote(char* remoteDirectory, char* localDirectory, char* pattern, unsigned int* total);
  int SyncDirOpenGetRemote(char* directory, char* pattern, unsigned int* total);
  int SyncDirOpenPutRemote(char* remoteDirectory, char* localDirectory, SYNC_DIR_FILE_EXCLUDE exclude,
                           unsigned int* total);
  int SyncDirOpenPutRemote(char* remoteDirectory, char* localDirectory, char* pattern, unsigned int* total);
  int SyncDirOpenPutRemote(char* directory, char* pattern, unsigned int* total);

  // --- Local trees. `callback` may be null; see docs/conventions.md for links ---

  // Lists the names in a folder of the working directory, like GetRemoteDirContent. Returns TVL_OK or
  // TVL_ERR_LOCAL_FILE.
  int GetLocalDirContent(char* directory, char* pattern, int* count, CString& list);
  // Copies a file, or a tree into a folder that is created if its parent exists. Both paths are full paths.
  // Reports a folder before its contents and a file after its copy. Returns TVL_OK, or TVL_ERR_COPY if a
  // single file cannot be copied. Failures inside a tree are not reported.
  int CopyDosDir(char* source, char* target, ProgressCallback callback, void* userData);
  // Removes a file or a tree, depth first. Stops at the first failure and returns TVL_ERR_DELETE_FILE or
  // TVL_ERR_DELETE_DIR. Reports a file with its size, and a folder after its contents. A missing path is
  // reported once and is not a failure.
  int RemoveDosDir(char* path, ProgressCallback callback, void* userData);
  // Returns the total size of the files in a tree, using the low 32 bits of each size; 0.0 for a missing
  // path.
  double SizeofDosDir(char* path, ProgressCallback callback, void* userData);

  // --- Additions of this implementation ---

  // Access to the plan of a synchronization before SyncDirSyncronize. The paths of an entry are valid until
  // the plan changes. SyncPlanEntry returns 0 if `index` is out of range. An entry that is taken out keeps
  // its index, and nothing is done for it.
  int SyncPlanCount() const;
  int SyncPlanEntry(int index, const char** source, const char** target, unsigned int* size,
                    SYNC_DIR_FILE_OPERATION* operation) const;
  int SyncPlanTakeOut(int index);
  void SyncPlanDrop();

  // Returns the full path of the local working directory, with a trailing backslash.
  const char* WorkingDirectory() const { return workingDirectory; }

 protected:
  CTVLClientOpr();
  // A copy gets every field except the lists of open tables and planned work, which stay with the source.
  CTVLClientOpr(const CTVLClientOpr& other);
  CTVLClientOpr& operator=(const CTVLClientOpr& other);

  // The list of open tables: find an entry by full path or handle (-1 if there is none), append a zeroed
  // entry, remove an entry, remove all entries. These functions do not close handles.
  int FindCtOpenedFile(const char* path) const;
  int FindCtOpenedFile(int handle) const;
  int PushCtOpenedFile(const char* path);
  void PopCtOpenedFile(int index);
  void FreeCtOpenedFiles();

  // The plan of a synchronization: add an entry (may throw std::bad_alloc), check whether a name is ignored,
  // check whether an entry has this source regardless of case, remove all entries.
  void SyncDirFilePush(const char* source, const char* target, unsigned int size,
                       SYNC_DIR_FILE_OPERATION operation);
  static int SyncDirFileIsExcluded(const char* path, SYNC_DIR_FILE_EXCLUDE exclude);
  int SyncDirFileExists(const char* path) const;
  void SyncDirRelease();
  // Removes the entries from index `count` on.
  TVL_HIDDEN void SyncDirTruncate(int count);

  int opened;
  int dumbMode;
  int fileCmp;
  char workingDirectory[260];
  char updateDir[260];
  char versionFile[260];
  unsigned int versionNumber;
  int zipOnTransfert;
  int instanceId;
  char shortName[64];
  char longName[256];
  char computerName[128];
  char serverId[64];
  char user[64];
  int ctOpenedCount;
  CtOpenedFile* ctOpenedFiles;
  int syncDirCount;
  SyncDirFile* syncDirFiles;
  // Index of the plan by source. This is an addition, so it follows the fields of the interface.
  SyncDirIndex* syncDirIndex;

 private:
  TVL_HIDDEN void CopyFields(const CTVLClientOpr& other);
};

#endif
