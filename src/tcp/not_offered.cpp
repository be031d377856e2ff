#include <tvlclient/tcp_opr.h>

// Operations that servers do not offer: they return a code at once and send nothing.

int CTVLClientTcpOpr::Open(char* /*workingDirectory*/, char* /*configFile*/, char* /*className*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientTcpOpr::CopyRemoteFile2Dir(char* /*remoteName*/, char* /*localPath*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientTcpOpr::ExistsRemote(char* /*remoteName*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientTcpOpr::GetRemoteDirContent(char* /*directory*/, char* /*pattern*/, int* /*count*/,
                                          CString& /*list*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

char* CTVLClientTcpOpr::DocumentRoot() {
  return nullptr;
}

int CTVLClientTcpOpr::CreateServerDir(char* /*directory*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientTcpOpr::DeleteServerDir(char* /*directory*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientTcpOpr::DeleteServerFile(char* /*file*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientTcpOpr::RenameServerFile(char* /*oldName*/, char* /*newName*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientTcpOpr::CopyServer2Server(char* /*source*/, char* /*target*/, int /*targetIsDirectory*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientTcpOpr::CopyServerDir2ServerDir(char* /*source*/, char* /*target*/,
                                              ProgressCallback /*callback*/, void* /*userData*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientTcpOpr::CopyRemoteDir2LocalDir(char* /*remoteDirectory*/, char* /*localDirectory*/,
                                             ProgressCallback /*callback*/, void* /*userData*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientTcpOpr::CopyLocalDir2RemoteDir(char* /*localDirectory*/, char* /*remoteDirectory*/,
                                             ProgressCallback /*callback*/, void* /*userData*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientTcpOpr::CopyLocalFile2RemoteFile(char* /*localFile*/, char* /*remoteFile*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientTcpOpr::SyncDirOpenGetRemote(char* /*remoteDirectory*/, char* /*localDirectory*/,
                                           char* /*pattern*/, SYNC_DIR_FILE_EXCLUDE /*exclude*/,
                                           unsigned int* /*total*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientTcpOpr::SyncDirOpenPutRemote(char* /*remoteDirectory*/, char* /*localDirectory*/,
                                           char* /*pattern*/, SYNC_DIR_FILE_EXCLUDE /*exclude*/,
                                           unsigned int* /*total*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientTcpOpr::SyncDirSyncronize(ProgressCallback /*callback*/, void* /*userData*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientTcpOpr::CTFileInit(char* /*name*/, int& /*handle*/, int /*datLen*/, int /*key1Len*/,
                                 int /*key2Len*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientTcpOpr::CTFileOpen(char* /*name*/, int& /*handle*/, int& /*datLen*/, int& /*key1Len*/,
                                 int& /*key2Len*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientTcpOpr::CTFileClose(int /*handle*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientTcpOpr::CTFileRead(int /*handle*/, int /*prefix*/, int& /*rows*/, char* /*readList*/,
                                 int /*keyNumber*/, void* /*block*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientTcpOpr::CTFileWrite(int /*handle*/, int /*several*/, int /*rows*/, void* /*block*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientTcpOpr::CTFileDelete(int /*handle*/, int /*prefix*/, char* /*deleteList*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientTcpOpr::GetEnviron(const char* /*name*/, const char* /*defaultValue*/, CString& /*value*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientTcpOpr::PutEnviron(const char* /*name*/, const char* /*value*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientTcpOpr::GetProcessesList(char* /*className*/, int& count, CString& list) {
  count = 0;
  list.Empty();
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientTcpOpr::GetUpdatePacks(char* /*prefix*/, int& count, CString& list) {
  count = 0;
  list.Empty();
  return TVL_ERR_NOT_SUPPORTED;
}
