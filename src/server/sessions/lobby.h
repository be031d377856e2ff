#ifndef TVL_SERVER_SESSIONS_LOBBY_H
#define TVL_SERVER_SESSIONS_LOBBY_H

#include <cstddef>
#include <list>

namespace tvl::server {

class Session;

// Connections that are not clients, or not yet. When it is full, the oldest connection is closed, so that
// silent ones cannot block others. Used on the network thread only.
class Lobby {
 public:
  explicit Lobby(std::size_t most) : most_(most) {}

  void Add(Session& session);

  // Does nothing if it has already left or was closed.
  void Remove(Session& session) { sessions_.remove(&session); }

 private:
  const std::size_t most_;
  std::list<Session*> sessions_;  // the oldest one is at the front
};

}  // namespace tvl::server

#endif
