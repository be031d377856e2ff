#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <tvlclient/errors.h>

#include "base/low_file.h"
#include "base/memory.h"
#include "base/numbers.h"
#include "base/text.h"
#include "platform/held_file.h"
#include "platform/names.h"
#include "platform/search.h"
#include "presence/connection.h"
#include "presence/marker.h"

namespace {

constexpr DWORD kNameRoom = 2048;
constexpr char kUnknown[] = "Unknown";
constexpr char kThisMachine[] = "127.0.0.1";
constexpr std::size_t kClassLength = 4;
constexpr int kAboveAllNumbers = 9999;
constexpr int kMostInstances = 9999;
constexpr int kMarkerTries = 100;

// A copy of what the machine says, or of "Unknown".
char* AskName(BOOL (*ask)(char*, DWORD*)) {
  char name[kNameRoom];
  DWORD length = sizeof name;
  ask(name, &length);
  return StrDup(length == 0 ? kUnknown : name);
}

char* LowerName(char* name) {
  tvl::ToLower(name);
  return name;
}

// Names that match, all of them before anything is done with one: a search that runs while files go may miss
// some.
std::vector<std::string> CollectNames(const char* pattern) {
  std::vector<std::string> names;
  WIN32_FIND_DATAA found = {};
  const HANDLE search = FindFirstFileA(pattern, &found);
  if (search == INVALID_HANDLE_VALUE) return names;
  do {
    names.emplace_back(found.cFileName);
  } while (FindNextFileA(search, &found) != 0);
  FindClose(search);
  return names;
}

tvl::PathText InFolder(const char* folder, const std::string& name) {
  tvl::PathText path;
  path.Append(folder).Append(name);
  return path;
}

}  // namespace

CConnection::CConnection(const char* locks, const char* procs, const char* clientClass,
                         const char* computerName, const char* address, const char* userName)
    : locksDir(locks),
      procsDir(procs),
      computer(computerName != nullptr ? StrDup(computerName) : LowerName(AskName(GetComputerNameA))),
      ipText{},
      pid(GetCurrentProcessId()),
      user(userName != nullptr ? StrDup(userName) : AskName(GetUserNameA)),
      object{},
      ownerComputer{},
      ownerClass{},
      ownerInstance(0),
      ownerPid(0),
      ownerIp{},
      ownerUser{},
      keyBuffer{},
      lockState(0),
      markerPath{},
      className{},
      lockCount(0),
      markerHandle(INVALID_HANDLE_VALUE),
      instance(0) {
  std::memset(className, 'x', kClassLength);
  std::memcpy(className, clientClass, strnlen(clientClass, kClassLength));
  IpToHex(address != nullptr ? address : kThisMachine, ipText);
}

CConnection::~CConnection() {
  Unregister();
  table.reset();
  SafeFree(computer);
  SafeFree(user);
}

bool CConnection::IsOwnProcess() const {
  return pid == GetCurrentProcessId();
}

int CConnection::AllocateInstance() {
  if (instance != 0) return instance;
  OpenLocksTable();
  // In one batch, so that two instances that start together see each other. Without the table, or when it
  // can't be had, the start goes on: two may then share a number until one of them ends.
  const tvl::TableBatch batch(TableHandle(), tvl::TableBatch::Kind::kWrite);
  instance = FindFreeNumber();
  MakeMarker();
  if (!batch.HasBegun()) return instance;  // nor can rows be taken out, and the wait was long enough
  lockCount = 1;
  ReleaseOwnLocks();
  return instance;
}

bool CConnection::IsPresent() const {
  return IsOwnProcess() && markerHandle != INVALID_HANDLE_VALUE && tvl::StillNames(markerPath, markerHandle);
}

int CConnection::FindFreeNumber() {
  tvl::PathText pattern;
  pattern.Append(procsDir).Append(computer).Append("-").Append(ipText).Append("-*.*.").Append(className);
  pattern.Append(".tvp");
  if (!pattern.Fits()) return 1;
  int lowest = kAboveAllNumbers;
  int highest = 0;
  for (const std::string& name : CollectNames(pattern.Text())) {
    const tvl::PathText path = InFolder(procsDir, name);
    int number = 0;
    if (!path.Fits() || !tvl::IsMarkerAlive(path.Text())) continue;
    if (ParseMarkerName(name.c_str(), nullptr, nullptr, &number, nullptr, nullptr) == 0) continue;
    if (number < 0 || number > kMostInstances) continue;  // none of ours: a lock row couldn't name it
    lowest = std::min(lowest, number);
    highest = std::max(highest, number);
  }
  if (highest < lowest) return 1;
  return lowest > 1 ? lowest - 1 : highest + 1;
}

// Between the making of a marker and the hold on it somebody may take it for a dead one and delete it; then
// it is made again.
void CConnection::MakeMarker() {
  const tvl::PathText path = tvl::MarkerPath(procsDir, {computer, ipText, instance, pid, className});
  if (!path.Fits() || !tvl::CopyPath(markerPath, path.View())) return;
  for (int tries = 0; tries < kMarkerTries; ++tries) {
    markerHandle = LowOpen(markerPath, kLowRewrite);
    LowLock(markerHandle, 1, 0);
    if (markerHandle == INVALID_HANDLE_VALUE) return;
    if (tvl::StillNames(markerPath, markerHandle)) {
      tvl::ShareLikeFolder(markerPath, markerHandle);
      return;
    }
    LowLock(markerHandle, 0, 0);
    LowClose(markerHandle);
    markerHandle = INVALID_HANDLE_VALUE;
  }
}

int CConnection::GetProcessesList(const char* wantedClass, int& count, CString& list) {
  count = 0;
  list.Empty();
  tvl::PathText pattern;
  pattern.Append(procsDir).Append("*.").Append(wantedClass).Append(".tvp");
  if (!pattern.Fits() || std::strpbrk(wantedClass, "\\/") != nullptr) return TVL_OK;
  for (const std::string& name : CollectNames(pattern.Text())) {
    const tvl::PathText path = InFolder(procsDir, name);
    if (!path.Fits() || tvl::EqualNoCase(path.Text(), markerPath) || !tvl::IsMarkerAlive(path.Text()))
      continue;
    if (list.Append(name.c_str()) == 0 || list.AppendChar('|') == 0) break;
    ++count;
  }
  return TVL_OK;
}

// The rows go while the marker still says that this instance lives, and the hold goes before the marker,
// which could not be deleted otherwise.
void CConnection::Unregister() {
  if (!IsOwnProcess()) return;
  ReleaseOwnLocks();
  if (markerHandle != INVALID_HANDLE_VALUE) {
    LowLock(markerHandle, 0, 0);
    LowClose(markerHandle);
    markerHandle = INVALID_HANDLE_VALUE;
  }
  if (markerPath[0] != 0) DeleteFileA(markerPath);
  markerPath[0] = 0;
}
