#include <chrono>
#include <cstring>

#include "engine/postgres/catalog.h"
#include "engine/postgres/error_note.h"
#include "engine/postgres/session_pool.h"
#include "engine/postgres/table.h"
#include "engine/storage_plugin.h"

namespace tvl::engine {
namespace {

class PostgresPlugin final : public StoragePlugin {
 public:
  std::unique_ptr<Table> Open(const RemotePlace& place, Patience& patience) override {
    bool isLost = false;
    do {
      if (InSession(place, CheckTable, patience, isLost)) return std::make_unique<PostgresTable>(place);
    } while (isLost && std::chrono::steady_clock::now() < patience.End());
    return nullptr;
  }

  bool Create(const RemotePlace& place) override { return InSession(place, CreateTable); }
  bool Adopt(const RemotePlace& place) override { return InSession(place, AdoptTable); }
  void Discard(const RemotePlace& place) override { static_cast<void>(InSession(place, DropTable)); }

 private:
  using Action = bool (*)(Session& session, const RemotePlace& place);

  // A session in which something failed may be in a failed transaction. `isLost` becomes true if the
  // connection broke.
  static bool InSession(const RemotePlace& place, Action action, Patience& patience, bool& isLost) {
    SessionLease session(SessionPool::Of(place.permission.service), SessionLease::Kind::kCall, patience);
    isLost = false;
    if (!session.Has()) return false;
    const bool done = action(*session, place);
    isLost = !done && !session->IsUsable();
    if (!done) session.Drop();
    return done;
  }

  static bool InSession(const RemotePlace& place, Action action) {
    Patience patience;
    bool isLost = false;
    return InSession(place, action, patience, isLost);
  }
};

}  // namespace
}  // namespace tvl::engine

extern "C" tvl::engine::StoragePlugin* TVLStoragePlugin(const char* release, tvl::engine::ErrorNote note) {
  if (std::strcmp(release, TVL_VERSION) != 0) return nullptr;
  static tvl::engine::PostgresPlugin plugin;
  tvl::engine::PassErrorsTo(note);
  return &plugin;
}
