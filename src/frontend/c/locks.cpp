#include <cstring>

#include <tvlclient/store.h>
#include <tvlclient/tvlc.h>

#include "base/fixed_text.h"
#include "frontend/c/array.h"
#include "frontend/c/handle.h"
#include "frontend/c/paths.h"
#include "frontend/c/structs.h"

namespace {

using tvl::c::Array;
using tvl::c::OnClient;
using tvl::c::OnDirectory;
using tvl::c::ReadOnly;

using LockOperation = int (CTVLClientOpr::*)(char*, int*, char*, int*, int*, char*, char*);

bool IsObject(const char* name) {
  const std::size_t length = std::strlen(name);
  return length >= 1 && length <= TVL_LONGEST_OBJECT;
}

// Asks or releases. Stores what was found or done in `state` and `owner`.
int Ask(CTVLClientOpr& client, LockOperation operation, const char* object, int& state, tvlc_owner& owner) {
  state = TVL_LOCK_FREE;
  return (client.*operation)(ReadOnly(object), &state, owner.computer, &owner.instance, &owner.pid,
                             owner.address, owner.user);
}

void Pass(const tvlc_owner& owner, tvlc_owner* output) {
  if (output != nullptr) tvl::c::CopyStruct(owner, output);
}

int IsPresent(const tvl::c::Connection& connection) {
  return connection.Directory() != nullptr ? connection.Directory()->IsPresent()
                                           : connection.Server()->IsPresent();
}

int Holds(const tvl::c::Connection& connection, const char* object) {
  return connection.Directory() != nullptr ? connection.Directory()->HoldsLock(object)
                                           : connection.Server()->HoldsLock(object);
}

// Releases a lock that other clients would ignore.
int ReleaseIgnored(CTVLClientOpr& client, const char* object) {
  int state = TVL_LOCK_FREE;
  tvlc_owner owner = {};
  static_cast<void>(Ask(client, &CTVLClientOpr::Unlock, object, state, owner));
  return TVL_ERR_NO_PRESENCE;
}

int Lock(const tvl::c::Connection& connection, CTVLClientOpr& client, const char* object,
         tvlc_owner* output) {
  int state = TVL_LOCK_FREE;
  tvlc_owner owner = {};
  if (const int code = Ask(client, &CTVLClientOpr::Lock, object, state, owner)) return code;
  if (state == TVL_LOCK_FREE) return TVL_ERR_SERVER_FILE;
  if (state == TVL_LOCK_OWN && IsPresent(connection) == 0) return ReleaseIgnored(client, object);
  Pass(owner, output);
  return state == TVL_LOCK_OWN ? TVL_OK : TVL_ERR_LOCKED;
}

int Unlock(CTVLClientOpr& client, const char* object, tvlc_owner* output) {
  int state = TVL_LOCK_FREE;
  tvlc_owner owner = {};
  if (const int code = Ask(client, &CTVLClientOpr::Unlock, object, state, owner)) return code;
  if (state == TVL_LOCK_FREE) return TVL_OK;
  if (state == TVL_LOCK_OWN) return TVL_ERR_SERVER_FILE;  // the row could not be deleted
  Pass(owner, output);
  return TVL_ERR_LOCKED;
}

void AddLock(const TVLStandingLock* lock, void* data) {
  auto& array = *static_cast<Array<tvlc_lock_row>*>(data);
  array.Add({sizeof(tvlc_lock_row), array.Keep(lock->object), array.Keep(lock->computer),
             array.Keep(lock->ipAddress), array.Keep(lock->className), array.Keep(lock->user), lock->instance,
             lock->pid, lock->alive});
}

void AddInstance(const TVLInstance* instance, void* data) {
  auto& array = *static_cast<Array<tvlc_instance>*>(data);
  array.Add({sizeof(tvlc_instance), array.Keep(instance->computer), array.Keep(instance->ipAddress),
             array.Keep(instance->className), instance->instance, instance->pid});
}

}  // namespace

int tvlc_lock(tvlc_store* store, const char* object, tvlc_owner* owner) {
  return OnClient(store, {object}, [&](CTVLClientOpr& client) -> int {
    if (!IsObject(object) || (owner != nullptr && !tvl::c::HasSize(owner))) return TVL_ERR_ARGUMENT;
    return Lock(*store->connection, client, object, owner);
  });
}

int tvlc_unlock(tvlc_store* store, const char* object, tvlc_owner* owner) {
  return OnClient(store, {object}, [&](CTVLClientOpr& client) -> int {
    if (!IsObject(object) || (owner != nullptr && !tvl::c::HasSize(owner))) return TVL_ERR_ARGUMENT;
    return Unlock(client, object, owner);
  });
}

int tvlc_holds(tvlc_store* store, const char* object, int* holds) {
  return OnClient(store, {object, holds}, [&](CTVLClientOpr&) -> int {
    *holds = Holds(*store->connection, object);
    return TVL_OK;
  });
}

int tvlc_is_present(tvlc_store* store, int* present) {
  return OnClient(store, {present}, [&](CTVLClientOpr&) -> int {
    *present = IsPresent(*store->connection);
    return TVL_OK;
  });
}

int tvlc_locks(tvlc_store* store, tvlc_lock_row*** rows, size_t* count) {
  return OnDirectory(store, {rows, count}, [&](CTVLClientSmbOpr& client) -> int {
    Array<tvlc_lock_row> array;
    if (const int code = client.ListLocks(AddLock, &array)) return code;
    using Row = tvlc_lock_row;
    *rows = array.Release(&Row::object, &Row::computer, &Row::address, &Row::class_name, &Row::user);
    *count = array.Count();
    return TVL_OK;
  });
}

int tvlc_instances(tvlc_store* store, const char* class_name, tvlc_instance*** rows, size_t* count) {
  return OnDirectory(store, {rows, count}, [&](CTVLClientSmbOpr& client) -> int {
    Array<tvlc_instance> array;
    const char* searched = class_name != nullptr ? class_name : "*";
    if (const int code = client.ListInstances(searched, AddInstance, &array)) return code;
    using Row = tvlc_instance;
    *rows = array.Release(&Row::computer, &Row::address, &Row::class_name);
    *count = array.Count();
    return TVL_OK;
  });
}
