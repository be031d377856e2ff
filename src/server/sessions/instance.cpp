#include "server/sessions/instance.h"

#include <algorithm>
#include <utility>

#include <tvlclient/store.h>

#include "base/numbers.h"
#include "server/files/names.h"
#include "tcp/protocol.h"

namespace tvl::server {
namespace {

bool IsObjectName(std::string_view name) {
  return !name.empty() && name.size() <= kLongestObject && std::none_of(name.begin(), name.end(), IsControl);
}

std::string Described(int state, const char* computer, int instance, int pid, const char* address,
                      const char* user) {
  return std::to_string(state) + "\t" + Field(computer) + "\t" + std::to_string(instance) + "\t" +
         std::to_string(pid) + "\t" + Field(address) + "\t" + Field(user);
}

}  // namespace

Instance::Instance(const CConfig& config, const Handshake& identity, const std::string& address,
                   unsigned int most_locks, const LockGauges& gauges)
    : connection_(config.locksDir, config.procsDir, identity.client_class.c_str(), identity.computer.c_str(),
                  address.c_str(), identity.user.c_str()),
      most_locks_(most_locks),
      gauges_(gauges) {
  connection_.AllocateInstance();
  connection_.table.reset();  // costs more memory than all the rest, and many clients never lock
}

// The rows of all clients of this server have its process id, so the next client with these names and this
// number would own any rows that are left.
Instance::~Instance() {
  if (connection_.lockCount > 0) connection_.ReleaseAllOwnLocks();
  ReportLocks(0);
}

void Instance::ReportLocks(int held) {
  const int change = held - std::exchange(reported_locks_, held);
  gauges_.own.Add(change);
  gauges_.all.Add(change);
}

std::string Instance::AnswerLock(char letter, std::string_view object) {
  if (!IsObjectName(object)) return kNoLock;
  const std::string name(object);
  if (letter == protocol::kUnlock) {
    connection_.Unlock(name.c_str());
  } else if (IsPresent() && MayLockMore()) {
    connection_.Lock(name.c_str());
  } else {
    connection_.CheckLock(name.c_str());
  }
  ReportLocks(connection_.lockCount);
  // Its own row would be from an earlier run, and others would ignore it.
  if (!IsPresent() && connection_.lockState == TVL_LOCK_OWN) return kNoLock;
  return connection_.lockState == TVL_LOCK_FREE ? kNoLock : DescribeOwner();
}

std::string Instance::DescribeOwner() const {
  return Described(connection_.lockState, connection_.ownerComputer, connection_.ownerInstance,
                   connection_.ownerPid, connection_.ownerIp, connection_.ownerUser);
}

std::string Instance::DescribeSelf() const {
  char address[sizeof connection_.ownerIp] = {};
  HexToIp(address, connection_.ipText);
  return Described(TVL_LOCK_OWN, connection_.computer, connection_.instance,
                   static_cast<int>(connection_.pid), address, connection_.user);
}

// An unlock that found no lock of this client changed nothing that could be lost.
std::string Instance::AnswerLost(char letter, const std::string& answer) {
  if (letter != protocol::kUnlock) return kNoLock;
  if (answer != kNoLock || connection_.object[0] != 0) return answer;
  ReportLocks(++connection_.lockCount);
  return DescribeSelf();
}

}  // namespace tvl::server
