#include <new>
#include <set>
#include <string>
#include <utility>

#include <tvlclient/store.h>

#include "base/fixed_text.h"
#include "tcp/state.h"

namespace {

// Sizes of the buffers that a caller provides.
constexpr std::size_t kComputerSize = 64;
constexpr std::size_t kAddressSize = 16;
constexpr std::size_t kUserSize = 65;

void Store(int* output, int value) {
  if (output != nullptr) *output = value;
}

template <std::size_t Size>
void Store(char* output, const char* text) {
  if (output != nullptr) tvl::CopyCut(*reinterpret_cast<char(*)[Size]>(output), text);
}

std::string WithoutBlanksAtEnd(const char* object) {
  const std::string name = object;
  return name.substr(0, name.find_last_not_of(" \t\r\n") + 1);
}

// A lock that cannot be recorded for lack of memory is reported as not held.
void NoteAnswer(std::set<std::string>& held, const char* object, int answer) try {
  std::string name = WithoutBlanksAtEnd(object);
  if (answer == TVL_LOCK_OWN) {
    held.insert(std::move(name));
  } else {
    held.erase(name);
  }
} catch (const std::bad_alloc&) {
  held.clear();
}

}  // namespace

int CTVLClientTcpOpr::Lock(char* object, int* lockState, char* computer, int* instance, int* pid,
                           char* ipAddress, char* user_name) {
  return AskForLock(tvl::protocol::kLock, object, lockState, computer, instance, pid, ipAddress, user_name);
}

int CTVLClientTcpOpr::Unlock(char* object, int* lockState, char* computer, int* instance, int* pid,
                             char* ipAddress, char* user_name) {
  return AskForLock(tvl::protocol::kUnlock, object, lockState, computer, instance, pid, ipAddress, user_name);
}

int CTVLClientTcpOpr::AskForLock(char letter, const char* object, int* lockState, char* computer,
                                 int* instance, int* pid, char* ipAddress, char* user_name) {
  if (!IsLive()) return TVL_ERR_NOT_CONNECTED;
  tvl::Packets& pack = state->pack;
  // A name that does not fit into a packet gets the same answer as every other name that is too long, without
  // asking the server.
  pack.DropReply();
  if (pack.Add2Pack(1, "%c%s", letter, object) != 0) {
    if (pack.PackSend() == 0) return TVL_ERR_TCP_SEND;
    if (pack.PackReceive() == 0) return TVL_ERR_TCP_RECEIVE;
    pack.Unpack2Toks(tvl::protocol::kFieldSeparator);
  }
  const int answer = pack.NumericTok(0, 0);
  NoteAnswer(state->held, object, answer);
  Store(lockState, answer);
  Store<kComputerSize>(computer, pack.StringTok(1, ""));
  Store(instance, pack.NumericTok(2, 0));
  Store(pid, pack.NumericTok(3, 0));
  Store<kAddressSize>(ipAddress, pack.StringTok(4, ""));
  Store<kUserSize>(user_name, pack.StringTok(5, ""));
  return TVL_OK;
}

int CTVLClientTcpOpr::IsPresent() {
  return IsLive() && state->socket.IsConnected() ? 1 : 0;
}

int CTVLClientTcpOpr::HoldsLock(const char* object) try {
  return IsPresent() != 0 && state->held.contains(WithoutBlanksAtEnd(object)) ? 1 : 0;
} catch (const std::bad_alloc&) {
  return 0;
}
