#ifndef TVL_TCP_SOCKET_H
#define TVL_TCP_SOCKET_H

#include <chrono>
#include <cstdint>

#include "platform/async_socket.h"

namespace tvl {

// Ends waits in which nothing has come from the peer for so many seconds; 0, the default, waits for ever. For
// all sockets of the process, also for waits under way, once a signal or an event of the socket wakes them.
// Safe in a signal handler.
void SetSocketTimeout(unsigned int seconds);

}  // namespace tvl

// The byte stream under a connection: makes of a socket that never blocks two calls that look blocking, by
// running the message pump, and sleeping between two pumps, until the notifications have brought what is
// wanted.
//
// Call ConnectHost, then any number of SendAll and ReceiveAll. Nothing brings a lost connection back but
// another ConnectHost. The hooks run inside the waits only, on the waiting thread.
class CJSock : public CAsyncSocket {
 public:
  CJSock() = default;
  CJSock(const CJSock&) = delete;
  CJSock& operator=(const CJSock&) = delete;
  ~CJSock() override;

  // Drops any earlier socket. Not 0 on success.
  BOOL OpenSocket();

  // 1 connected, 0 failed; `lastError` says why. Waits as long as the system tries, or for the time-out.
  int ConnectHost(const char* host, unsigned int port);

  // 1 all sent, 0 failed. Waits for a peer that does not read for as long as the connection lives, or for the
  // time-out, which ends the connection.
  int SendAll(const void* bytes, int length);

  // `length` on success, -1 on failure, also for bytes that had come before the connection was lost. Waits as
  // long as the connection lives, however long the peer takes, or for the time-out, which ends the
  // connection.
  int ReceiveAll(void* destination, int length);

  // False once the peer has ended the connection or it has failed, also while bytes are still to be read.
  // Never waits.
  [[nodiscard]] bool IsConnected() const { return connected != 0 && !HasPeerEnded(); }

  // Ends the sending, so that the peer sees the end of the stream behind all that was sent, and closes.
  void CloseSocket();

  // Gives up a connection on which the peer doesn't keep to the packets.
  void GiveUp();

  void OnReceive(int code) override;
  void OnSend(int code) override;
  void OnConnect(int code) override;
  void OnClose(int code) override;

  std::int32_t created = 0;    // not 0 while a socket exists
  std::int32_t connected = 0;  // from a completed connect until the connection is lost
  std::int32_t writable = 0;   // the send notification has come
  std::int32_t lastError = 0;  // why a connect failed or the connection was lost

  // Bytes received and not yet taken: one straight run, `rxRead` to `rxWrite`. Both go back to 0 when
  // everything has been taken.
  unsigned char* rxBuffer = nullptr;
  std::int32_t rxCapacity = 0;
  std::int32_t rxRead = 0;
  std::int32_t rxWrite = 0;

 private:
  template <typename Condition>
  void WaitUntil(Condition done);
  void Abandon(int reason);
  void GrowBuffer(std::int32_t capacity);
  void ResumeReceiving();

  std::chrono::steady_clock::time_point sign_of_life_ = {};  // of the peer, or the beginning of the wait
};

#endif
