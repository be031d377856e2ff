#ifndef TVL_TCP_STATE_H
#define TVL_TCP_STATE_H

#include <set>
#include <string>
#include <string_view>

#include <tvlclient/tcp_opr.h>

#include "platform/names.h"
#include "tcp/packets.h"
#include "tcp/socket.h"

// The state of a connection to a server in addition to that of the base class.
struct CTVLClientTcpOpr::State {
  explicit State(int& opened) : pack(socket, opened) {}

  // Returns false in a forked child of the process that opened the connection, which cannot use it.
  [[nodiscard]] bool IsOwnProcess() const { return process == GetCurrentProcessId(); }

  CJSock socket;
  tvl::Packets pack;
  std::set<std::string> held;  // objects whose last answer was 1, without blanks at the end
  DWORD process = 0;           // the process that opened the connection
  unsigned int window = 0;     // announced, then what the server has granted (window.h)

  // Records that the server refused a request with the reason `text`, which may be empty. Clears an earlier
  // failure on this side, which was not the reason.
  void NoteRefusal(std::string_view text);
  char refusal[32] = {};
  bool refused = false;

  // Takes the server's version from field 0 of its reply to the handshake; empty if it does not report one.
  void NoteVersion(std::string_view field);
  char version[32] = {};
};

#endif
