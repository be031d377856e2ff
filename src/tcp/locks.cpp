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
  Give(lockState, pack.NumericTok(0, 0));
  Give<kComputerRoom>(computer, pack.StringTok(1, ""));
  Give(instance, pack.NumericTok(2, 0));
  Give(pid, pack.NumericTok(3, 0));
  Give<kAddressRoom>(ipAddress, pack.StringTok(4, ""));
  Give<kUserRoom>(userName, pack.StringTok(5, ""));
  return TVL_OK;
}
