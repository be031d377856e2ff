#ifndef TVLCLIENT_CLIENT_OPR_H
#define TVLCLIENT_CLIENT_OPR_H

#include <tvlclient/cstring.h>
#include <tvlclient/errors.h>
#include <tvlclient/export.h>

// Tells of a file or folder reached by a long operation: its path, its size in bytes (0 for a folder), and
// the value that the caller passed on. The path lives in a buffer of the operation: copy what is to stay.
typedef void (*ProgressCallback)(char* path, unsigned int size, void* userData);

// Names that a synchronisation leaves alone, by extension; values add up.
enum SYNC_DIR_FILE_EXCLUDE {
  SYNC_DIR_FILE_EXCLUDE_NONE = 0,
  SYNC_DIR_FILE_EXCLUDE_DATABASE = 1,  // ".mdb", ".ldb"
  SYNC_DIR_FILE_EXCLUDE_DOCUMENT = 2,  // ".doc", ".docx", ".rtf"
  SYNC_DIR_FILE_EXCLUDE_PDF = 4        // ".pdf"
};

// What a synchronisation has planned for one entry.
enum SYNC_DIR_FILE_OPERATION {
  SYNC_DIR_FILE_KEEP = 0,    // equal on both sides
  SYNC_DIR_FILE_DELETE = 1,  // on the target only: goes
  SYNC_DIR_FILE_FOLDER = 2,  // a pair of folders
  SYNC_DIR_FILE_COPY = 3     // to be copied
};

struct CtOpenedFile;
struct SyncDirFile;
struct SyncDirIndex;

// A connection to a store, whichever kind: the operations that an application works with.
//
// Life: construct CTVLClientSmbOpr (a directory) or CTVLClientTcpOpr (a server), `Open`, any operations in
// any order, `Close`, destroy. Destroying an open connection closes it. A connection belongs to the process
// that opened it; in a forked child it is dead.
//
// Names on the store side are relative to the store, names on the local side to the working directory; either
// slash may stand in them. Buffers of paths take 260 bytes with the terminator; a longer path makes the
// operation fail with its code for that file. Every operation returns 0 or a code of errors.h, and none
// throws.
//
// Threads: one connection serves one thread at a time; several connections may serve several threads. Long
// operations run the calling thread's pump hook (TVLSetPumpHook) in between; it must not use the same
// connection.
class TVL_API CTVLClientOpr {
 public:
  virtual ~CTVLClientOpr();

  // --- Connection ---

  // Connects to a server; 1 on a directory connection. TVLConnect2Tcp tells the arguments.
  virtual int Open(char* workingDirectory, char* configFile, char* host, unsigned int port, char* className,
                   char* clientTag) = 0;
  // Connects to a directory store; 1 on a TCP connection. TVLConnect2Dir tells the arguments.
  virtual int Open(char* workingDirectory, char* configFile, char* className) = 0;
  // Ends presence and locks. 0, or 8 if the connection is not open.
  virtual int Close() = 0;

  // --- Locks and presence. The arguments are those of TVLLockObject and TVLUnlockObject; the outputs are not
  // cleared here ---

  // An instance without presence, whose marker could not be created, gets state 1 from `Lock` as well, but
  // its locks count for nobody else. Ask `IsPresent` or `HoldsLock` of the derived classes before relying on
  // one.
  virtual int Lock(char* object, int* state, char* computer, int* instance, int* pid, char* ipAddress,
                   char* user) = 0;
  virtual int Unlock(char* object, int* state, char* computer, int* instance, int* pid, char* ipAddress,
                     char* user) = 0;
  // Marker names of the other live instances of a class, each with a "|" behind it; "*" means all classes.
  virtual int GetProcessesList(char* className, int& count, CString& list) = 0;

  // --- Files. TVLGetFile tells `transferred` ---

  virtual int GetRemote(char* remoteName, char* localName, int* transferred) = 0;
  // Copies to any place: `localPath` is a file, or a folder unless its last component is that of
  // `remoteName`.
  virtual int CopyRemoteFile2Dir(char* remoteName, char* localPath) = 0;
  // 0 if the store has a file or folder of that name, else 20.
  virtual int ExistsRemote(char* remoteName) = 0;
  virtual int PutRemote(char* remoteName, char* localName, int* transferred) = 0;

  // --- The store's tree ---

  // Bare names in a folder that match `pattern` ("*.*" means all), with "|" between them, put behind what
  // `list` holds. `count` gets their number. 20 if `directory` is no folder; nothing is touched then.
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

  // --- Synchronisation of two trees: an open plans, SyncDirSyncronize does the work ---

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
  // The configured document root as it was expanded; null on a TCP connection.
  virtual char* DocumentRoot() = 0;
  virtual int GetUpdatePacks(char* prefix, int& count, CString& list) = 0;

  // --- State. Texts are the object's own and live as long as it ---

  int IsOpened() const { return opened; }
  // 1 when working directory and store are one folder, so that transfers have nothing to do.
  int DumbMode() const { return dumbMode; }
  // How files are compared: 0 not at all, 1 by hash, 2 by time.
  int FileCmp() const { return fileCmp; }
  int ZipOnTransfert() const { return zipOnTransfert; }
  int InstanceId() const { return instanceId; }
  char* ComputerName() { return computerName; }
  char* User() { return user; }
  char* ShortName() { return shortName; }
  char* LongName() { return longName; }
  // 40 hexadecimal digits that two clients on the same path of a store share.
  char* ServerID() { return serverId; }
  char* VersionFile() { return versionFile; }
  char* UpdateDir() { return updateDir; }
  // The store's version total; its two parts go where the pointers are not null.
  unsigned int VersionNumber(unsigned int* major, int* minor) const;

  // --- Short forms: the pattern "*.*", no exclusion, one name for both sides ---

  int SyncDirOpenGetRemote(char* remoteDirectory, char* localDirectory, SYNC_DIR_FILE_EXCLUDE exclude,
                           unsigned int* total);
  int SyncDirOpenGetRemote(char* remoteDirectory, char* localDirectory, char* pattern, unsigned int* total);
  int SyncDirOpenGetRemote(char* directory, char* pattern, unsigned int* total);
  int SyncDirOpenPutRemote(char* remoteDirectory, char* localDirectory, SYNC_DIR_FILE_EXCLUDE exclude,
                           unsigned int* total);
  int SyncDirOpenPutRemote(char* remoteDirectory, char* localDirectory, char* pattern, unsigned int* total);
  int SyncDirOpenPutRemote(char* directory, char* pattern, unsigned int* total);

  // --- Local trees. `callback` may be null; docs/conventions.md tells what becomes of links ---

  // Names in a folder of the working directory, as GetRemoteDirContent gives those of the store's. 0, or 21.
  int GetLocalDirContent(char* directory, char* pattern, int* count, CString& list);
  // Copies a file, or a tree into a folder that is made if its parent exists. Whole paths. Tells of a folder
  // before its contents, of a file behind its copy. 0; 22 if a single file can't be copied; failures inside a
  // tree are not reported.
  int CopyDosDir(char* source, char* target, ProgressCallback callback, void* userData);
  // Removes a file or a tree, depth first, up to the first failure: 23 for a file, 24 for a folder. Tells of
  // a file with its size, of a folder behind its contents. A missing path is told once and no failure.
  int RemoveDosDir(char* path, ProgressCallback callback, void* userData);
  // Bytes of the files in a tree, the low 32 bits of each. 0.0 for a missing path.
  double SizeofDosDir(char* path, ProgressCallback callback, void* userData);

  // --- Additions of this implementation ---

  // The plan of a synchronisation between its opens and SyncDirSyncronize. An entry's paths hold until the
  // plan changes; 0 for an impossible `index`. An entry taken out stays in its place and has nothing done to
  // it.
  int SyncPlanCount() const;
  int SyncPlanEntry(int index, const char** source, const char** target, unsigned int* size,
                    SYNC_DIR_FILE_OPERATION* operation) const;
  int SyncPlanTakeOut(int index);
  void SyncPlanDrop();

  // The local working directory: full path with a trailing backslash.
  const char* WorkingDirectory() const { return workingDirectory; }

 protected:
  CTVLClientOpr();
  // A copy takes every field but the two lists: it opened none of the tables and planned none of the work.
  CTVLClientOpr(const CTVLClientOpr& other);
  CTVLClientOpr& operator=(const CTVLClientOpr& other);

  // The opened tables: an entry's index by its full path or its handle, or -1; a new zeroed entry at the end;
  // an entry gone, the order of the others kept; all gone. No handle is closed by these.
  TVL_HIDDEN int FindCtOpenedFile(const char* path) const;
  TVL_HIDDEN int FindCtOpenedFile(int handle) const;
  TVL_HIDDEN int PushCtOpenedFile(const char* path);
  TVL_HIDDEN void PopCtOpenedFile(int index);
  TVL_HIDDEN void FreeCtOpenedFiles();

  // The plan of a synchronisation: one more entry (std::bad_alloc may pass); whether a name is left alone;
  // whether an entry has that source, letter case ignored; the plan gone.
  TVL_HIDDEN void SyncDirFilePush(const char* source, const char* target, unsigned int size,
                                  SYNC_DIR_FILE_OPERATION operation);
  TVL_HIDDEN static int SyncDirFileIsExcluded(const char* path, SYNC_DIR_FILE_EXCLUDE exclude);
  TVL_HIDDEN int SyncDirFileExists(const char* path) const;
  TVL_HIDDEN void SyncDirRelease();
  // Drops the entries from `count` on.
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
  // Finds entries of the plan by their source; ours alone, behind the fields that count.
  SyncDirIndex* syncDirIndex;

 private:
  TVL_HIDDEN void CopyFields(const CTVLClientOpr& other);
};

#endif
