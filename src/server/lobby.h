#ifndef TVL_SERVER_LOBBY_H
#define TVL_SERVER_LOBBY_H

#include <cstddef>
#include <list>

namespace tvl::server {

class Session;

// Connections that are not those of clients, or not yet. When it is full, the connection that came first is
// cut off, so that silent ones cannot keep anyone out. On the network's thread only.
class Lobby {
 public:
  explicit Lobby(std::size_t most) : most_(most) {}

  void Add(Session& session);

  // Nothing happens if it has left or been cut off already.
  void Remove(Session& session) { sessions_.remove(&session); }

 private:
  const std::size_t most_;
  std::list<Session*> sessions_;  // the one that came first is at the front
};

}  // namespace tvl::server

#endif
