#include <cstring>

#include <tvlclient/client_opr.h>

#include "transfer/compare.h"

namespace {

constexpr unsigned int kMajorUnit = 1000000;
char every_name[] = "*.*";  // the operations take writable texts, but only read this one

}  // namespace

CTVLClientOpr::CTVLClientOpr()
    : opened(0),
      dumbMode(0),
      fileCmp(kCompareHash),
      workingDirectory{},
      updateDir{},
      versionFile{},
      versionNumber(0),
      zipOnTransfert(0),
      instanceId(0),
      shortName{},
      longName{},
      computerName{},
      serverId{},
      user{},
      ctOpenedCount(0),
      ctOpenedFiles(nullptr),
      syncDirCount(0),
      syncDirFiles(nullptr),
      syncDirIndex(nullptr) {}

CTVLClientOpr::CTVLClientOpr(const CTVLClientOpr& other) : CTVLClientOpr() {
  CopyFields(other);
}

CTVLClientOpr& CTVLClientOpr::operator=(const CTVLClientOpr& other) {
  if (this == &other) return *this;
  FreeCtOpenedFiles();
  SyncDirRelease();
  CopyFields(other);
  return *this;
}

CTVLClientOpr::~CTVLClientOpr() {
  FreeCtOpenedFiles();
  SyncDirRelease();
}

void CTVLClientOpr::CopyFields(const CTVLClientOpr& other) {
  opened = other.opened;
  dumbMode = other.dumbMode;
  fileCmp = other.fileCmp;
  std::memcpy(workingDirectory, other.workingDirectory, sizeof workingDirectory);
  std::memcpy(updateDir, other.updateDir, sizeof updateDir);
  std::memcpy(versionFile, other.versionFile, sizeof versionFile);
  versionNumber = other.versionNumber;
  zipOnTransfert = other.zipOnTransfert;
  instanceId = other.instanceId;
  std::memcpy(shortName, other.shortName, sizeof shortName);
  std::memcpy(longName, other.longName, sizeof longName);
  std::memcpy(computerName, other.computerName, sizeof computerName);
  std::memcpy(serverId, other.serverId, sizeof serverId);
  std::memcpy(user, other.user, sizeof user);
}

unsigned int CTVLClientOpr::VersionNumber(unsigned int* major, int* minor) const {
  if (major != nullptr) *major = versionNumber / kMajorUnit;
  if (minor != nullptr) *minor = static_cast<int>(versionNumber % kMajorUnit);
  return versionNumber;
}

int CTVLClientOpr::SyncDirOpenGetRemote(char* remoteDirectory, char* localDirectory,
                                        SYNC_DIR_FILE_EXCLUDE exclude, unsigned int* total) {
  return SyncDirOpenGetRemote(remoteDirectory, localDirectory, every_name, exclude, total);
}

int CTVLClientOpr::SyncDirOpenGetRemote(char* remoteDirectory, char* localDirectory, char* pattern,
                                        unsigned int* total) {
  return SyncDirOpenGetRemote(remoteDirectory, localDirectory, pattern, SYNC_DIR_FILE_EXCLUDE_NONE, total);
}

int CTVLClientOpr::SyncDirOpenGetRemote(char* directory, char* pattern, unsigned int* total) {
  return SyncDirOpenGetRemote(directory, directory, pattern, SYNC_DIR_FILE_EXCLUDE_NONE, total);
}

int CTVLClientOpr::SyncDirOpenPutRemote(char* remoteDirectory, char* localDirectory,
                                        SYNC_DIR_FILE_EXCLUDE exclude, unsigned int* total) {
  return SyncDirOpenPutRemote(remoteDirectory, localDirectory, every_name, exclude, total);
}

int CTVLClientOpr::SyncDirOpenPutRemote(char* remoteDirectory, char* localDirectory, char* pattern,
                                        unsigned int* total) {
  return SyncDirOpenPutRemote(remoteDirectory, localDirectory, pattern, SYNC_DIR_FILE_EXCLUDE_NONE, total);
}

int CTVLClientOpr::SyncDirOpenPutRemote(char* directory, char* pattern, unsigned int* total) {
  return SyncDirOpenPutRemote(directory, directory, pattern, SYNC_DIR_FILE_EXCLUDE_NONE, total);
}
