#include <new>
#include <set>
#include <string>
#include <utility>

#include <tvlclient/store.h>

#include "base/fixed_text.h"
#include "tcp/state.h"

namespace {

// Rooms of the outputs that a caller provides.
constexpr std::size_t kComputerRoom = 64;
constexpr std::size_t kAddressRoom = 16;
constexpr std::size_t kUserRoom = 65;

void Give(int* output, int value) {
  if (output != nullptr) *output = value;
}

template <std::size_t Room>
void Give(char* output, const char* text) {
  if (output != nullptr) tvl::CopyCut(*reinterpret_cast<char(*)[Room]>(output), text);
}

std::string WithoutBlanksAtEnd(const char* object) {
  const std::string name = object;
  return name.substr(0, name.find_last_not_of(" \t\r\n") + 1);
}

// A lock that cannot be noted for lack of memory is reported as not held.
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
                           char* ipAddress, char* userName) {
  return AskForLock(tvl::protocol::kLock, object, lockState, computer, instance, pid, ipAddress, userName);
}

int CTVLClientTcpOpr::Unlock(char* object, int* lockState, char* computer, int* instance, int* pid,
                             char* ipAddress, char* userName) {
  return AskForLock(tvl::protocol::kUnlock, object, lockState, computer, instance, pid, ipAddress, userName);
}

int CTVLClientTcpOpr::AskForLock(char letter, const char* object, int* lockState, char* computer,
                                 int* instance, int* pid, char* ipAddress, char* userName) {
  if (!IsLive()) return TVL_ERR_NOT_CONNECTED;
  tvl::Packets& pack = state->pack;
  // A name beyond any packet gets the answer that every name has which is too long to be locked, here at
  // once.
  pack.DropReply();
  if (pack.Add2Pack(1, "%c%s", letter, object) != 0) {
    if (pack.PackSend() == 0) return TVL_ERR_TCP_SEND;
    if (pack.PackReceive() == 0) return TVL_ERR_TCP_RECEIVE;
    pack.Unpack2Toks(tvl::protocol::kFieldSeparator);
  }
  const int answer = pack.NumericTok(0, 0);
  NoteAnswer(state->held, object, answer);
  Give(lockState, answer);
  Give<kComputerRoom>(computer, pack.StringTok(1, ""));
  Give(instance, pack.NumericTok(2, 0));
  Give(pid, pack.NumericTok(3, 0));
  Give<kAddressRoom>(ipAddress, pack.StringTok(4, ""));
  Give<kUserRoom>(userName, pack.StringTok(5, ""));
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
