#include <tvlclient/smb_opr.h>

// Operations of the interface that this version does not offer yet.

int CTVLClientSmbOpr::CreateServerDir(char* /*directory*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientSmbOpr::DeleteServerDir(char* /*directory*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientSmbOpr::DeleteServerFile(char* /*file*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientSmbOpr::RenameServerFile(char* /*oldName*/, char* /*newName*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientSmbOpr::CopyServer2Server(char* /*source*/, char* /*target*/, int /*targetIsDirectory*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientSmbOpr::CopyServerDir2ServerDir(char* /*source*/, char* /*target*/,
                                              ProgressCallback /*callback*/, void* /*userData*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientSmbOpr::CopyRemoteDir2LocalDir(char* /*remoteDirectory*/, char* /*localDirectory*/,
                                             ProgressCallback /*callback*/, void* /*userData*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientSmbOpr::CopyLocalDir2RemoteDir(char* /*localDirectory*/, char* /*remoteDirectory*/,
                                             ProgressCallback /*callback*/, void* /*userData*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientSmbOpr::CopyLocalFile2RemoteFile(char* /*localFile*/, char* /*remoteFile*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientSmbOpr::SyncDirOpenGetRemote(char* /*remoteDirectory*/, char* /*localDirectory*/,
                                           char* /*pattern*/, SYNC_DIR_FILE_EXCLUDE /*exclude*/,
                                           unsigned int* /*total*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientSmbOpr::SyncDirOpenPutRemote(char* /*remoteDirectory*/, char* /*localDirectory*/,
                                           char* /*pattern*/, SYNC_DIR_FILE_EXCLUDE /*exclude*/,
                                           unsigned int* /*total*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientSmbOpr::SyncDirSyncronize(ProgressCallback /*callback*/, void* /*userData*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientSmbOpr::GetEnviron(const char* /*name*/, const char* /*defaultValue*/, CString& /*value*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientSmbOpr::PutEnviron(const char* /*name*/, const char* /*value*/) {
  return TVL_ERR_NOT_SUPPORTED;
}

int CTVLClientSmbOpr::GetUpdatePacks(char* /*prefix*/, int& count, CString& list) {
  count = 0;
  list.Empty();
  return TVL_ERR_NOT_SUPPORTED;
}
