#ifndef TVLCLIENT_TCP_OPR_H
#define TVLCLIENT_TCP_OPR_H

#include <tvlclient/client_opr.h>

// A connection to a store that a TCP server serves.
//
// Only the six-argument `Open`, `Close`, `Lock`, `Unlock`, `GetRemote` and `PutRemote` are available. Every
// other operation returns TVL_ERR_NOT_SUPPORTED, or null for `DocumentRoot`, and changes nothing, except that
// `GetProcessesList` and `GetUpdatePacks` set their counts to 0 and empty their lists.
class TVL_API CTVLClientTcpOpr : public CTVLClientOpr {
 public:
  CTVLClientTcpOpr();
  // A connection owns its state of the conversation with the server, so it cannot be copied.
  CTVLClientTcpOpr(const CTVLClientTcpOpr&) = delete;
  CTVLClientTcpOpr& operator=(const CTVLClientTcpOpr&) = delete;
  ~CTVLClientTcpOpr() override;

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

  // Returns 1 while the connection to the server is alive, else 0. Presence and locks end with the
  // connection. Never waits.
  int IsPresent();

  // Returns 1 if the connection is alive and the server's last answer to `Lock` or `Unlock` for this object
  // was 1, else 0. Never waits and sends nothing.
  int HoldsLock(const char* object);

  // Returns why the server refused the last `Open`, get or put: `address`, `tag`, `certificate`, `full` or
  // `right`. Returns null if it was not refused by the server, and an empty text if the server sent no
  // reason. The text belongs to the connection and is valid until its next operation.
  const char* Refusal() const;

  // Returns the descriptor of the socket, so that an application can poll() it with POLLRDHUP together with
  // its own files and notice the end of the connection; -1 on a connection that is not open. It must not be
  // read or closed.
  int Descriptor() const;

  // The version that the server reported at the last `Open`, as `1.0.0`; empty if it did not report one.
  // Belongs to the connection and lives until its next `Open`.
  const char* ServerVersion() const;

  // Waits for a sign of life of the server, and changes nothing in the store. Returns TVL_OK,
  // TVL_ERR_NOT_CONNECTED, TVL_ERR_TCP_SEND or TVL_ERR_TCP_RECEIVE; the last also for an answer that no
  // server of this protocol sends.
  int Ping();

 private:
  TVL_HIDDEN bool IsLive() const;
  TVL_HIDDEN int Connect(const char* host, unsigned int port, const char* className, const char* clientTag,
                         unsigned int window);
  TVL_HIDDEN int Handshake(const char* className, const char* clientTag, unsigned int window);
  TVL_HIDDEN bool WasRefusedUnexplained(int code) const;
  TVL_HIDDEN void TakeSettings();
  TVL_HIDDEN void SettleWorkingDirectory(const char* directory);
  TVL_HIDDEN void ServerTerminate();
  TVL_HIDDEN int AskForTransfer(char letter, const char* remoteName, const char* stamp, int* transferred);
  TVL_HIDDEN int ReceiveFile(const char* path);
  TVL_HIDDEN int SendFile(const char* path);
  TVL_HIDDEN bool TakeAnswers(unsigned int& unanswered, unsigned int left, int& result);
  TVL_HIDDEN int AskForLock(char letter, const char* object, int* state, char* computer, int* instance,
                            int* pid, char* ipAddress, char* user);

  struct TVL_HIDDEN State;
  State* state;
};

#endif
