#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <tvlclient/errors.h>

#include "base/low_file.h"
#include "base/memory.h"
#include "base/numbers.h"
#include "base/text.h"
#include "platform/held_file.h"
#include "platform/last_error.h"
#include "platform/names.h"
#include "platform/new_held_file.h"
#include "platform/search.h"
#include "presence/connection.h"
#include "presence/marker.h"

namespace {

constexpr DWORD kNameSize = 2048;
constexpr char kUnknown[] = "Unknown";
constexpr char kThisMachine[] = "127.0.0.1";
constexpr std::size_t kClassLength = 4;
constexpr int kMostTries = 100;

// Returns a copy of the name that the system reports, or of "Unknown".
char* AskName(BOOL (*ask)(char*, DWORD*)) {
  char name[kNameSize];
  DWORD length = sizeof name;
  ask(name, &length);
  return StrDup(length == 0 ? kUnknown : name);
}

char* LowerName(char* name) {
  tvl::ToLower(name);
  return name;
}

// Collects all matching names before any is processed, because a search may miss names while files are
// deleted.
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

bool IsSeparator(char letter) {
  return letter == '/' || letter == '\\';
}

tvl::PathText InFolder(const char* folder, const std::string& name) {
  tvl::PathText path;
  path.Append(folder).Append(name);
  return path;
}

}  // namespace

CConnection::CConnection(const char* locks, const char* procs, const char* client_class,
                         const char* computerName, const char* address, const char* user_name)
    : locksDir(nullptr),
      procsDir(nullptr),
      computer(computerName != nullptr ? StrDup(computerName) : LowerName(AskName(GetComputerNameA))),
      ipText{},
      pid(GetCurrentProcessId()),
      user(user_name != nullptr ? StrDup(user_name) : AskName(GetUserNameA)),
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
      instance(0),
      locks_folder_(locks),
      procs_folder_(procs) {
  locksDir = locks_folder_.c_str();
  procsDir = procs_folder_.c_str();
  std::memset(className, 'x', kClassLength);
  std::memcpy(className, client_class, strnlen(client_class, kClassLength));
  // A separator would put the marker into another folder.
  std::replace_if(className, className + kClassLength, IsSeparator, '_');
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
  if (has_allocated_) return instance;
  has_allocated_ = true;
  // One batch, so that two instances that start at the same time see each other. If the table cannot be used,
  // the start continues; then two instances may share a number until one of them ends.
  std::optional<tvl::TableBatch> batch;
  const bool begun = BeginBatch(batch, tvl::TableBatch::Kind::kWrite);
  TakeNumber();
  former_rows_due_ = true;
  if (!begun || instance == 0) return instance;
  DeleteFormerRows();
  lockCount = 0;
  DeleteTopRows();
  former_rows_due_ = !batch->End();
  return instance;
}

// Selects a number and creates its marker. Without the batch above, another instance may be faster.
void CConnection::TakeNumber() {
  for (int tries = 0; tries < kMostTries; ++tries) {
    instance = number_.Take(Identity(), FindLiveNumbers());
    if (instance == 0 || CreateMarker() != EEXIST) return;
  }
}

// Returns the identity that is common to all instances that are numbered together.
tvl::PathText CConnection::Identity() const {
  tvl::PathText identity;
  identity.Append(procsDir).Append(computer).Append("-").Append(ipText).Append("-").Append(className);
  return identity;
}

tvl::LiveNumbers CConnection::FindLiveNumbers() const {
  tvl::LiveNumbers live;
  RemoveUnfinishedMarkers();
  const tvl::PathText pattern = tvl::MarkerPattern(procsDir, computer, ipText, className);
  if (!pattern.Fits()) return live;
  for (const std::string& name : CollectNames(pattern.Text())) {
    const tvl::PathText path = InFolder(procsDir, name);
    int number = -1;
    if (!path.Fits() || !tvl::IsMarkerAlive(path.Text())) continue;
    if (ParseMarkerName(name.c_str(), nullptr, nullptr, &number, nullptr, nullptr) == 0) continue;
    // A lock row cannot store other numbers.
    if (number >= 0 && number <= tvl::kMostInstances) live.set(static_cast<std::size_t>(number));
  }
  return live;
}

// Processes that were killed while they created their markers leave files whose names begin with a dot.
void CConnection::RemoveUnfinishedMarkers() const {
  tvl::PathText pattern;
  pattern.Append(procsDir).Append(".*");
  if (!pattern.Fits()) return;
  for (const std::string& name : CollectNames(pattern.Text())) {
    const tvl::PathText path = InFolder(procsDir, name);
    if (path.Fits()) DeleteFileA(path.Text());
  }
}

// Returns 0, or why the marker could not be created. Sets `markerPath` in either case if it fits.
int CConnection::CreateMarker() {
  const tvl::PathText path = tvl::MarkerPath(procsDir, {computer, ipText, instance, pid, className});
  if (!path.Fits() || !tvl::CopyPath(markerPath, path.View())) return ENAMETOOLONG;
  markerHandle = tvl::CreateHeldFile(markerPath);
  return markerHandle != INVALID_HANDLE_VALUE ? 0 : tvl::LastErrorCode();
}

void CConnection::CloseMarker() {
  if (markerHandle == INVALID_HANDLE_VALUE) return;
  LowLock(markerHandle, 0, 0);
  LowClose(markerHandle);
  markerHandle = INVALID_HANDLE_VALUE;
}

bool CConnection::IsPresent() const {
  return IsOwnProcess() && markerHandle != INVALID_HANDLE_VALUE && tvl::IsStillHeld(markerPath, markerHandle);
}

// Creates the marker again if it was lost, unless another instance has its name now. Locks that others
// acquired in the meantime remain theirs.
void CConnection::KeepPresence() {
  if (markerPath[0] == 0 || IsPresent()) return;
  CloseMarker();
  has_twin_ = tvl::IsMarkerAlive(markerPath) || CreateMarker() == EEXIST;
}

std::vector<std::string> CConnection::OtherMarkers(const char* wanted_class, IsAlive is_alive) const {
  std::vector<std::string> others;
  const tvl::PathText pattern = tvl::MarkerPattern(procsDir, wanted_class);
  if (!pattern.Fits() || std::strpbrk(wanted_class, "\\/") != nullptr) return others;
  for (std::string& name : CollectNames(pattern.Text())) {
    const tvl::PathText path = InFolder(procsDir, name);
    if (path.Fits() && !tvl::EqualNoCase(path.Text(), markerPath) && is_alive(path.Text()))
      others.push_back(std::move(name));
  }
  return others;
}

std::vector<std::string> CConnection::LiveMarkers(const char* wanted_class) const {
  return OtherMarkers(wanted_class, tvl::IsMarkerAlive);
}

std::vector<std::string> CConnection::HeldMarkers(const char* wanted_class) const {
  return OtherMarkers(wanted_class, tvl::IsFileHeld);
}

int CConnection::GetProcessesList(const char* wanted_class, int& count, CString& list) {
  count = 0;
  list.Empty();
  for (const std::string& name : LiveMarkers(wanted_class)) {
    if (list.Append(name.c_str()) == 0 || list.AppendChar('|') == 0) break;
    ++count;
  }
  return TVL_OK;
}

// Deletes the rows while the marker still shows that this instance is alive. Releases the marker before
// deleting it, because a held file cannot be deleted.
void CConnection::Unregister() {
  if (!IsOwnProcess()) return;
  ReleaseOwnLocks();
  CloseMarker();
  if (markerPath[0] != 0) DeleteFileA(markerPath);
  markerPath[0] = 0;
  number_.Release();
}
