#include <cstdio>
#include <cstring>
#include <string_view>

#include "base/fixed_text.h"
#include "base/numbers.h"
#include "base/text.h"
#include "platform/held_file.h"
#include "presence/connection.h"
#include "presence/marker.h"

namespace {

using tvl::TableBatch;

constexpr char kSchema[] = "id-D2 object-D32 computer-D32 ipaddr-D8 class-D4 instance-D4 pid-D8 username-D64";
constexpr char kPrefixes[] = " 1\0";  // a list of one
constexpr char kAboveAllObjects[] = "~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~";
static_assert(sizeof kAboveAllObjects == kLongestObject + 1);

constexpr int kReadGreater = 1;
constexpr int kReadLessOrEqual = 4;

enum LockState { kFree = 0, kOwn = 1, kOtherInstance = 2, kOtherComputer = 3 };

// A zeroed buffer into which "name=value" texts go one behind the other, each with its zero, an empty one at
// the end.
class Assignments {
 public:
  void Add(const char* name, std::string_view value) {
    tvl::FixedText<160> text;
    text.Append(name).Append("=").Append(value.substr(0, kLongestValue));
    std::memcpy(texts_ + length_, text.Text(), text.View().size() + 1);
    length_ += text.View().size() + 1;
  }
  [[nodiscard]] char* Texts() { return texts_; }

 private:
  static constexpr std::size_t kLongestValue = 128;  // wider than any field of a row
  char texts_[4096] = {};
  std::size_t length_ = 0;
};

template <typename Number>
tvl::FixedText<16> Formatted(const char* format, Number number) {
  char digits[16];
  std::snprintf(digits, sizeof digits, format, number);
  tvl::FixedText<16> text;
  text.Append(digits);
  return text;
}

}  // namespace

int CConnection::OpenLocksTable() {
  if (table != nullptr) return 1;
  tvl::PathText path;
  path.Append(locksDir).Append("dtlocks.dat");
  table = std::make_unique<CCtreeFile>(path.Fits() ? path.Text() : nullptr);
  table->AddRecType(kSchema, kPrefixes);
  return 1;
}

int CConnection::TableHandle() const {
  return table == nullptr ? -1 : table->handle;
}

void CConnection::ClearOwner() {
  ownerUser[0] = 0;
  ownerClass[0] = 0;
  ownerIp[0] = 0;
  ownerComputer[0] = 0;
  ownerPid = 0;
  ownerInstance = 0;
  lockState = kFree;
}

// Makes `name` the object asked about. False for a name that no row can contain.
bool CConnection::NameObject(const char* name) {
  ClearOwner();
  return CopyObjectName(name, object);
}

const char* CConnection::BuildOwnKey(const char* name) {
  return BuildLockKey(keyBuffer, name, computer, ipText, className, instance);
}

// Reads the first row of the object, if one stands, into the owner fields and the key. The key that is asked
// for has blanks for the owner, so it lies just below every row of the object.
bool CConnection::ReadRowOfObject() {
  BuildLockKey(keyBuffer, object, nullptr, nullptr, nullptr, 0);
  if (table->ReadRec(keyBuffer, 1, kReadGreater) == nullptr) return false;
  if (!tvl::EqualNoCase(table->FieldText("object"), object)) return false;
  ReadOwner();
  return true;
}

// Takes the owner from the row just read. Fields are read from the front of the record to its back, since
// each lands on the record's beginning; the object stands before all of these.
void CConnection::ReadOwner() {
  ParseLockKey(keyBuffer, nullptr, ownerComputer, ownerIp, ownerClass, &ownerInstance);
  ownerPid = static_cast<int>(table->FieldHex("pid"));
  tvl::CopyCut(ownerUser, table->FieldText("username"));
}

int CConnection::CompareOwner() const {
  if (!tvl::EqualNoCase(ownerComputer, computer) || !tvl::EqualNoCase(ownerIp, ipText)) return kOtherComputer;
  if (ownerInstance != instance || !tvl::EqualNoCase(ownerClass, className)) return kOtherInstance;
  return kOwn;
}

tvl::PathText CConnection::OwnerMarker() const {
  return tvl::MarkerPath(
      procsDir, {ownerComputer, ownerIp, ownerInstance, static_cast<unsigned int>(ownerPid), ownerClass});
}

bool CConnection::IsOwnerAlive() const {
  const tvl::PathText marker = OwnerMarker();
  return marker.Fits() && tvl::IsMarkerAlive(marker.Text());
}

int CConnection::CheckLockInBatch() {
  if (!ReadRowOfObject()) return lockState;
  lockState = CompareOwner();
  if (lockState != kOwn && !IsOwnerAlive()) {
    table->DeleteRec(keyBuffer);
    ClearOwner();
  }
  if (ownerIp[0] != 0) HexToIp(ownerIp, ownerIp);
  return lockState;
}

// Where the table can't be had for writing, as on a store mounted read-only, it still tells who holds what.
// A table that was busy for the whole time that a call waits is not waited for once more.
int CConnection::CheckLockReading() {
  if (tvl::engine::LastProblem() == tvl::TableProblem::kBusy) return lockState;
  const TableBatch batch(TableHandle(), TableBatch::Kind::kRead);
  return batch.HasBegun() ? CheckLockInBatch() : lockState;
}

int CConnection::CheckLock(const char* name) {
  OpenLocksTable();
  if (!NameObject(name)) return lockState;
  const TableBatch batch(TableHandle(), TableBatch::Kind::kWrite);
  return batch.HasBegun() ? CheckLockInBatch() : CheckLockReading();
}

bool CConnection::WriteOwnRow() {
  Assignments row;
  row.Add("id", " 1");
  row.Add("object", object);
  row.Add("computer", computer);
  row.Add("ipaddr", ipText);
  row.Add("class", className);
  row.Add("instance", Formatted("%04d", instance).View());
  row.Add("pid", Formatted("%08x", pid).View());
  row.Add("username", user);
  return table->WriteRec(BuildOwnKey(object), row.Texts()) != 0;
}

void CConnection::DescribeSelf() {
  tvl::CopyCut(ownerComputer, computer);
  tvl::CopyCut(ownerClass, className);
  ownerPid = static_cast<int>(pid);
  ownerInstance = instance;
  HexToIp(ownerIp, ipText);
  tvl::CopyCut(ownerUser, user);
}

int CConnection::Lock(const char* name) {
  OpenLocksTable();
  if (!NameObject(name)) return lockState;
  TableBatch batch(TableHandle(), TableBatch::Kind::kWrite);
  if (!batch.HasBegun()) return CheckLockReading();
  if (CheckLockInBatch() != kFree) return lockState;
  if (!WriteOwnRow() || !batch.End()) return lockState;
  DescribeSelf();
  ++lockCount;
  lockState = kOwn;
  return lockState;
}

int CConnection::Unlock(const char* name) {
  OpenLocksTable();
  if (!NameObject(name)) return lockState;
  TableBatch batch(TableHandle(), TableBatch::Kind::kWrite);
  if (!batch.HasBegun()) return CheckLockReading();
  if (CheckLockInBatch() != kOwn) return lockState;
  if (table->DeleteRec(BuildOwnKey(object)) == 0 || !batch.End()) return lockState;
  if (lockCount > 0) --lockCount;
  object[0] = 0;
  ClearOwner();
  return lockState;
}

// True if the row just read, of key `key`, names this instance and this process as the owner.
bool CConnection::IsOwnRow(const char* key, const char* name) const {
  char own[kLockKeyRoom];
  BuildLockKey(own, name, computer, ipText, className, instance);
  return tvl::EqualNoCase(key, own) && table->FieldHex("pid") == pid;
}

bool CConnection::HoldsLock(const char* name) {
  if (!IsPresent()) return false;
  char wanted[sizeof object];
  if (!CopyObjectName(name, wanted)) return false;
  OpenLocksTable();
  const TableBatch batch(TableHandle(), TableBatch::Kind::kRead);
  if (!batch.HasBegun()) return false;
  char key[kLockKeyRoom];
  BuildLockKey(key, wanted, nullptr, nullptr, nullptr, 0);
  return table->ReadRec(key, 1, kReadGreater) != nullptr && IsOwnRow(key, wanted);
}

// True if the row whose key was read is this instance's. The owner fields get its owner.
bool CConnection::IsOwnKey() {
  ParseLockKey(keyBuffer, nullptr, ownerComputer, ownerIp, ownerClass, &ownerInstance);
  return CompareOwner() == kOwn;
}

void CConnection::ReleaseOwnLocks() {
  if (lockCount == 0) return;
  lockCount = 0;
  BuildOwnKey(kAboveAllObjects);
  OpenLocksTable();
  TableBatch batch(TableHandle(), TableBatch::Kind::kWrite);
  if (!batch.HasBegun()) return;
  while (table->ReadRec(keyBuffer, 1, kReadLessOrEqual) != nullptr) {
    if (!IsOwnKey() || table->DeleteRec(keyBuffer) == 0) break;
  }
}

void CConnection::ReleaseAllOwnLocks() {
  lockCount = 0;
  OpenLocksTable();
  TableBatch batch(TableHandle(), TableBatch::Kind::kWrite);
  if (!batch.HasBegun()) return;
  BuildLockKey(keyBuffer, nullptr, nullptr, nullptr, nullptr, 0);
  while (table->ReadRec(keyBuffer, 1, kReadGreater) != nullptr) {
    if (IsOwnKey() && table->DeleteRec(keyBuffer) == 0) break;
  }
}

void CConnection::DescribeRow(tvl::LockRow& row) const {
  ParseLockKey(keyBuffer, row.object, row.computer, nullptr, row.client_class, &row.instance);
  HexToIp(row.ip, ownerIp);
  row.pid = ownerPid;
  tvl::CopyCut(row.user, ownerUser);
  const tvl::PathText marker = OwnerMarker();
  row.alive = marker.Fits() && tvl::IsFileHeld(marker.Text());
}

bool CConnection::ListLocks(std::vector<tvl::LockRow>& rows) {
  OpenLocksTable();
  ClearOwner();
  const TableBatch batch(TableHandle(), TableBatch::Kind::kRead);
  if (!batch.HasBegun()) return false;
  BuildLockKey(keyBuffer, nullptr, nullptr, nullptr, nullptr, 0);
  while (table->ReadRec(keyBuffer, 1, kReadGreater) != nullptr) {
    ReadOwner();
    DescribeRow(rows.emplace_back());
  }
  ClearOwner();
  return true;
}
