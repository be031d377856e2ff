#include "server/sessions/lobby.h"

#include "server/sessions/session.h"

namespace tvl::server {

void Lobby::Add(Session& session) {
  sessions_.push_back(&session);
  if (sessions_.size() <= most_) return;
  Session& first = *sessions_.front();
  sessions_.pop_front();
  first.Cut();
}

}  // namespace tvl::server
