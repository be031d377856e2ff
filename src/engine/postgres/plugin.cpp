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
    const auto check = [&place](Session& session) { return CheckTable(session, place); };
    bool is_lost = false;
    do {
      if (InSession(place.permission, check, patience, is_lost))
        return std::make_unique<PostgresTable>(place);
    } while (is_lost && std::chrono::steady_clock::now() < patience.End());
    return nullptr;
  }

  bool Create(const RemotePlace& place) override {
    return InSession(place.permission, [&](Session& session) { return CreateTable(session, place); });
  }

  bool Adopt(const RemotePlace& place) override {
    return InSession(place.permission, [&](Session& session) { return AdoptTable(session, place); });
  }

  void Discard(const RemotePlace& place) override {
    static_cast<void>(
        InSession(place.permission, [&](Session& session) { return DropTable(session, place); }));
  }

  std::optional<bool> HasStandby(const Permission& permission) override {
    std::optional<bool> has;
    static_cast<void>(InSession(permission, [&has](Session& session) {
      has = AsksStandby(session);
      return has.has_value();
    }));
    return has;
  }

  std::optional<RemoteEntries> List(const Permission& permission) override {
    std::optional<RemoteEntries> entries;
    static_cast<void>(InSession(permission, [&](Session& session) {
      entries = ListTables(session, permission);
      return entries.has_value();
    }));
    return entries;
  }

  bool NoteOrphans(const Permission& permission, const std::vector<std::string>& ids) override {
    return InSession(permission,
                     [&](Session& session) { return tvl::engine::NoteOrphans(session, permission, ids); });
  }

  bool DropOrphan(const RemotePlace& place, std::int64_t seconds) override {
    return InSession(place.permission,
                     [&](Session& session) { return tvl::engine::DropOrphan(session, place, seconds); });
  }

 private:
  // A session in which something failed may be in a failed transaction. `is_lost` becomes true if the
  // connection broke.
  template <typename Action>
  static bool InSession(const Permission& permission, Action action, Patience& patience, bool& is_lost) {
    SessionLease session(SessionPool::Of(permission.service), SessionLease::Kind::kCall, patience);
    is_lost = false;
    if (!session.Has()) return false;
    const bool done = action(*session);
    is_lost = !done && !session->IsUsable();
    if (!done) session.Drop();
    return done;
  }

  template <typename Action>
  static bool InSession(const Permission& permission, Action action) {
    Patience patience;
    bool is_lost = false;
    return InSession(permission, action, patience, is_lost);
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
