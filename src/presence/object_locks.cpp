#include <cstdio>
#include <cstring>
#include <optional>
#include <string_view>

#include <tvlclient/store.h>

#include "base/fixed_text.h"
#include "base/numbers.h"
#include "base/text.h"
#include "platform/held_file.h"
#include "presence/connection.h"
#include "presence/marker.h"

namespace {

using tvl::TableBatch;

constexpr char kAboveAllObjects[] = "~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~";
static_assert(sizeof kAboveAllObjects == kLongestObject + 1);

// Not a blank name, because control characters sort below blanks.
constexpr char kBelowAllObjects[] = "\1\1\1\1\1\1\1\1\1\1\1\1\1\1\1\1\1\1\1\1\1\1\1\1\1\1\1\1\1\1\1\1";
static_assert(sizeof kBelowAllObjects == kLongestObject + 1);

constexpr int kReadEqual = 0;
constexpr int kReadGreater = 1;
constexpr int kReadLess = 3;
constexpr int kReadLessOrEqual = 4;

// A list of zero-terminated "name=value" texts that ends with an empty text.
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

void CConnection::ClearOwner() {
  ownerUser[0] = 0;
  ownerClass[0] = 0;
  ownerIp[0] = 0;
  ownerComputer[0] = 0;
  ownerPid = 0;
  ownerInstance = 0;
  lockState = TVL_LOCK_FREE;
}

// Sets the object of the operation. Returns false for a name that no row can contain.
bool CConnection::NameObject(const char* name) {
  ClearOwner();
  return CopyObjectName(name, object);
}

const char* CConnection::BuildOwnKey(const char* name) {
  return BuildLockKey(keyBuffer, name, computer, ipText, className, instance);
}

// Reads the first row of the object, if there is one, into the owner fields and the key. The search key has
// blanks for the owner, so it sorts just before every row of the object.
bool CConnection::ReadRowOfObject() {
  BuildLockKey(keyBuffer, object, nullptr, nullptr, nullptr, 0);
  if (table->ReadRec(keyBuffer, 1, kReadGreater) == nullptr) return false;
  if (!tvl::EqualNoCase(table->FieldText("object"), object)) return false;
  ReadOwner();
  return true;
}

// Reads the owner from the row just read. Fields must be read in the order of the record, since each one
// overwrites its beginning; the object is before all of these.
void CConnection::ReadOwner() {
  ParseLockKey(keyBuffer, nullptr, ownerComputer, ownerIp, nullptr, &ownerInstance);
  CopyKeyClass(keyBuffer, ownerClass);
  ownerPid = static_cast<int>(table->FieldHex("pid"));
  tvl::CopyCut(ownerUser, table->FieldText("username"));
}

int CConnection::CompareOwner() const {
  if (!tvl::EqualNoCase(ownerComputer, computer) || !tvl::EqualNoCase(ownerIp, ipText))
    return TVL_LOCK_OTHER_COMPUTER;
  if (ownerInstance != instance || !tvl::EqualNoCase(ownerClass, className)) return TVL_LOCK_OTHER_INSTANCE;
  return TVL_LOCK_OWN;
}

// Returns true for the row of another process that has, or had, the identity of this instance.
bool CConnection::IsOwnedByOtherProcess() const {
  return static_cast<unsigned int>(ownerPid) != pid;
}

tvl::InstanceName CConnection::OwnerName() const {
  return {ownerComputer, ownerIp, ownerInstance, static_cast<unsigned int>(ownerPid), ownerClass};
}

// Returns true for a row with the identity of this instance if its owner is another live one.
bool CConnection::IsOwnedByTwin() const {
  return IsOwnedByOtherProcess() ? IsOwnerAlive() : has_twin_;
}

bool CConnection::IsOwnerAlive() const {
  return tvl::IsInstanceAlive(procsDir, OwnerName());
}

// Deletes the rows of dead owners on the way, except one of this identity, which this process may take over.
int CConnection::CheckLockInBatch() {
  while (ReadRowOfObject()) {
    lockState = CompareOwner();
    if (lockState == TVL_LOCK_OWN || IsOwnerAlive()) {
      if (lockState == TVL_LOCK_OWN && IsOwnedByTwin()) lockState = TVL_LOCK_OTHER_INSTANCE;
      if (ownerIp[0] != 0) HexToIp(ownerIp, ownerIp);
      break;
    }
    const bool is_deleted = table->DeleteRec(keyBuffer) != 0;
    ClearOwner();
    if (!is_deleted) break;
  }
  return lockState;
}

int CConnection::CheckLock(const char* name) {
  if (!NameObject(name)) return lockState;
  std::optional<TableBatch> batch;
  return BeginOperation(batch) == Access::kNone ? lockState : CheckLockInBatch();
}

bool CConnection::WriteOwnRow() {
  Assignments row;
  row.Add("id", kLockRowId);
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

// Takes over the row just found, which a dead predecessor left.
bool CConnection::AdoptRow() {
  char key[kLockKeySize];
  std::memcpy(key, keyBuffer, sizeof key);
  if (table->datLen != static_cast<int>(kLockRecordLength)) return false;
  char* row = table->ReadRawRec(key, 1, kReadEqual);
  if (row == nullptr) return false;
  ChangeOwner(row, pid, user);
  return table->WriteRawRec(keyBuffer, nullptr, row) != 0;
}

int CConnection::Lock(const char* name) {
  if (!NameObject(name)) return lockState;
  std::optional<TableBatch> batch;
  const Access access = BeginOperation(batch);
  if (access == Access::kNone) return lockState;
  const int found = CheckLockInBatch();
  const bool adopts = found == TVL_LOCK_OWN && IsOwnedByOtherProcess();
  if (found != TVL_LOCK_FREE && !adopts) return lockState;
  const bool can_write = access == Access::kWriting && instance != 0 && !has_twin_ && !batch->MetDamage();
  if (!can_write || !(adopts ? AdoptRow() : WriteOwnRow()) || !batch->End()) {
    ClearOwner();
    return lockState;
  }
  if (!adopts) DescribeSelf();
  ++lockCount;
  lockState = TVL_LOCK_OWN;
  return lockState;
}

int CConnection::Unlock(const char* name) {
  if (!NameObject(name)) return lockState;
  std::optional<TableBatch> batch;
  const Access access = BeginOperation(batch);
  if (access == Access::kNone || CheckLockInBatch() != TVL_LOCK_OWN || access == Access::kReading)
    return lockState;
  if (table->DeleteRec(BuildOwnKey(object)) == 0 || !batch->End()) return lockState;
  if (lockCount > 0) --lockCount;
  object[0] = 0;
  ClearOwner();
  return lockState;
}

// Returns true if the row just read, with the key `key`, names this instance and this process as the owner.
bool CConnection::IsOwnRow(const char* key, const char* name) const {
  char own[kLockKeySize];
  BuildLockKey(own, name, computer, ipText, className, instance);
  return tvl::EqualNoCase(key, own) && table->FieldHex("pid") == pid;
}

bool CConnection::HoldsLock(const char* name) {
  char wanted[sizeof object];
  if (!IsPresent() || !CopyObjectName(name, wanted)) return false;
  std::optional<TableBatch> batch;
  if (!BeginBatch(batch, TableBatch::Kind::kRead)) return false;
  char key[kLockKeySize];
  BuildLockKey(key, wanted, nullptr, nullptr, nullptr, 0);
  return table->ReadRec(key, 1, kReadGreater) != nullptr && IsOwnRow(key, wanted);
}

void CConnection::ReleaseOwnLocks() {
  if (lockCount == 0) return;
  lockCount = 0;
  KeepPresence();
  std::optional<TableBatch> batch;
  if (BeginBatch(batch, TableBatch::Kind::kWrite)) DeleteTopRows();
}

// Deletes the rows of this identity that sort after all rows of others, except those of another live process.
void CConnection::DeleteTopRows() {
  BuildOwnKey(kAboveAllObjects);
  int mode = kReadLessOrEqual;
  while (table->ReadRec(keyBuffer, 1, mode) != nullptr) {
    mode = kReadLess;
    ReadOwner();
    if (CompareOwner() != TVL_LOCK_OWN) break;
    if (IsOwnedByTwin()) continue;
    if (table->DeleteRec(keyBuffer) == 0) break;
  }
}

void CConnection::ReleaseAllOwnLocks() {
  lockCount = 0;
  KeepPresence();
  std::optional<TableBatch> batch;
  if (BeginBatch(batch, TableBatch::Kind::kWrite)) DeleteFormerRows();
}

// A row that an earlier instance of this process left would count as a lock of this instance.
void CConnection::DeleteFormerRows() {
  BuildLockKey(keyBuffer, kBelowAllObjects, nullptr, nullptr, nullptr, 0);
  while (table->ReadRec(keyBuffer, 1, kReadGreater) != nullptr) {
    ReadOwner();
    if (CompareOwner() != TVL_LOCK_OWN || IsOwnedByOtherProcess() || IsOwnedByTwin()) continue;
    if (table->DeleteRec(keyBuffer) == 0) break;
  }
}

void CConnection::DescribeRow(tvl::LockRow& row) const {
  ParseLockKey(keyBuffer, row.object, row.computer, nullptr, row.client_class, &row.instance);
  HexToIp(row.ip, ownerIp);
  row.pid = ownerPid;
  tvl::CopyCut(row.user, ownerUser);
  const tvl::PathText marker = tvl::MarkerPath(procsDir, OwnerName());
  row.alive = marker.Fits() && tvl::IsFileHeld(marker.Text());
}

bool CConnection::ListLocks(std::vector<tvl::LockRow>& rows, std::size_t most) {
  ClearOwner();
  std::optional<TableBatch> batch;
  if (!BeginBatch(batch, TableBatch::Kind::kRead)) return false;
  BuildLockKey(keyBuffer, kBelowAllObjects, nullptr, nullptr, nullptr, 0);
  while (rows.size() < most && table->ReadRec(keyBuffer, 1, kReadGreater) != nullptr) {
    ReadOwner();
    DescribeRow(rows.emplace_back());
  }
  ClearOwner();
  return !batch->MetDamage();
}
