#include "server/instance.h"

#include <algorithm>

#include "server/names.h"
#include "tcp/protocol.h"

namespace tvl::server {
namespace {

constexpr char kNoLock[] = "0";
constexpr int kOwnLock = 1;

bool IsObjectName(std::string_view name) {
  return !name.empty() && name.size() <= kLongestObject && std::none_of(name.begin(), name.end(), IsControl);
}

}  // namespace

Instance::Instance(const CConfig& config, const Handshake& identity, const std::string& address,
                   unsigned int most_locks)
    : connection_(config.locksDir, config.procsDir, identity.client_class.c_str(), identity.computer.c_str(),
                  address.c_str(), identity.user.c_str()),
      most_locks_(most_locks) {
  connection_.AllocateInstance();
}

// All of this server's clients have its process id in their rows, so the next one with these names and this
// number would own what is left.
Instance::~Instance() {
  if (connection_.lockCount > 0) connection_.ReleaseAllOwnLocks();
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
  // Its own row would be of an earlier life, and count for nobody else.
  if (!IsPresent() && connection_.lockState == kOwnLock) return kNoLock;
  return connection_.lockState == 0 ? kNoLock : Describe();
}

std::string Instance::Describe() const {
  return std::to_string(connection_.lockState) + "\t" + Field(connection_.ownerComputer) + "\t" +
         std::to_string(connection_.ownerInstance) + "\t" + std::to_string(connection_.ownerPid) + "\t" +
         Field(connection_.ownerIp) + "\t" + Field(connection_.ownerUser);
}

}  // namespace tvl::server
