#ifndef TVL_TESTS_E2E_PLAYED_SERVER_H
#define TVL_TESTS_E2E_PLAYED_SERVER_H

#include <string>

#include "e2e/tvl_runner.h"
#include "tcp/peer.h"
#include "tcp/protocol.h"
#include "tcp/script.h"

// What a server that a test plays answers to `tvl`.

inline constexpr char kAccepted[] = "TVL\t0\t7\t0\t1\tshort\tlong";
inline const std::string kAlive(1, '\0');  // the answer to a ping

inline void TakeIn(const Peer& peer, const std::string& reply) {
  const std::size_t size = peer.ReadPacket().size() + tvl::protocol::kHeadSize;
  if (size < tvl::protocol::kLeastHandshake) peer.Read(tvl::protocol::kLeastHandshake - size);
  peer.Send(Reply(reply));
}

// Answers the handshake and then each packet of the client in order, and waits for the end of the connection.
inline Server::Part Answers(const Words& replies) {
  return [=](const Peer& peer) {
    TakeIn(peer, replies.front());
    for (std::size_t at = 1; at < replies.size(); ++at) {
      peer.ReadPacket();
      peer.Send(Reply(replies[at]));
    }
    while (!peer.ReadPacket().starts_with("end")) {
    }
  };
}

[[nodiscard]] inline Words Over(const Server& server, Words arguments) {
  const Words address = {"--tcp", "127.0.0.1:" + std::to_string(server.Port())};
  arguments.insert(arguments.begin(), address.begin(), address.end());
  return arguments;
}

#endif
