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

}  // namespace

int CTVLClientTcpOpr::Lock(char* object, int* lockState, char* computer, int* instance, int* pid,
                           char* ipAddress, char* userName) {
  const int code = AskForLock(tvl::protocol::kLock, object);
  if (code == TVL_OK) GiveLock(lockState, computer, instance, pid, ipAddress, userName);
  return code;
}

int CTVLClientTcpOpr::Unlock(char* object, int* lockState, char* computer, int* instance, int* pid,
                             char* ipAddress, char* userName) {
  const int code = AskForLock(tvl::protocol::kUnlock, object);
  if (code == TVL_OK) GiveLock(lockState, computer, instance, pid, ipAddress, userName);
  return code;
}

// One exchange, whose answer then stands in the reply's fields.
int CTVLClientTcpOpr::AskForLock(char letter, const char* object) {
  if (!IsLive()) return TVL_ERR_NOT_CONNECTED;
  tvl::Packets& pack = state->pack;
  if (pack.Add2Pack(1, "%c%s", letter, object) == 0 || pack.PackSend() == 0) return TVL_ERR_TCP_SEND;
  if (pack.PackReceive() == 0) return TVL_ERR_TCP_RECEIVE;
  pack.Unpack2Toks(tvl::protocol::kFieldSeparator);
  return TVL_OK;
}

void CTVLClientTcpOpr::GiveLock(int* lockState, char* computer, int* instance, int* pid, char* ipAddress,
                                char* userName) const {
  const tvl::Packets& reply = state->pack;
  Give(lockState, reply.NumericTok(0, 0));
  Give<kComputerRoom>(computer, reply.StringTok(1, ""));
  Give(instance, reply.NumericTok(2, 0));
  Give(pid, reply.NumericTok(3, 0));
  Give<kAddressRoom>(ipAddress, reply.StringTok(4, ""));
  Give<kUserRoom>(userName, reply.StringTok(5, ""));
}
