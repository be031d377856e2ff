#ifndef TVL_TCP_SOCKET_H
#define TVL_TCP_SOCKET_H

#include <chrono>
#include <cstdint>

#include "platform/async_socket.h"

namespace tvl {

// Sets the maximum time in seconds for which waits last while the peer sends nothing; 0, the default, means
// no limit. Applies to all sockets of the process, and to current waits once a signal or an event of the
// socket wakes them. Safe in a signal handler.
void SetSocketTimeout(unsigned int seconds);

}  // namespace tvl

// The byte stream of a connection. It provides blocking calls on top of a non-blocking socket by running the
// message pump, and sleeping in between, until the notifications have delivered the result.
//
// Call ConnectHost, then any number of SendAll and ReceiveAll. After a lost connection, call ConnectHost
// again. Hooks run only inside waits, on the waiting thread.
class CJSock : public CAsyncSocket {
 public:
  CJSock() = default;
  CJSock(const CJSock&) = delete;
  CJSock& operator=(const CJSock&) = delete;
  ~CJSock() override;

  // Closes an earlier socket and creates a new one. Returns nonzero on success.
  BOOL OpenSocket();

  // Returns 1 if connected, else 0 with the reason in `lastError`. Waits as long as the system tries, or
  // until the timeout.
  int ConnectHost(const char* host, unsigned int port);

  // Returns 1 if all bytes were sent, else 0. Waits for a peer that does not read as long as the connection
  // lasts, or until the timeout, which ends the connection.
  int SendAll(const void* bytes, int length);

  // Returns `length` on success, -1 on failure, even if some bytes arrived before the connection was lost.
  // Waits as long as the connection lasts, or until the timeout, which ends the connection.
  int ReceiveAll(void* destination, int length);

  // Returns false once the peer has ended the connection or it has failed, even if bytes are still to be
  // read. Never waits.
  [[nodiscard]] bool IsConnected() const { return connected != 0 && !HasPeerEnded(); }

  // Shuts down sending, so that the peer sees the end of the stream after all data, and closes the socket.
  void CloseSocket();

  // Closes a connection whose peer violates the protocol.
  void Abandon();

  void OnReceive(int code) override;
  void OnSend(int code) override;
  void OnConnect(int code) override;
  void OnClose(int code) override;

  std::int32_t created = 0;    // not 0 while a socket exists
  std::int32_t connected = 0;  // 1 from a completed connect until the connection is lost
  std::int32_t writable = 0;   // 1 after the send notification
  std::int32_t lastError = 0;  // why a connect failed or the connection was lost

  // Bytes received and not yet read: those from `rxRead` to `rxWrite`. Both are reset to 0 when everything
  // has been read.
  unsigned char* rxBuffer = nullptr;
  std::int32_t rxCapacity = 0;
  std::int32_t rxRead = 0;
  std::int32_t rxWrite = 0;

 private:
  template <typename Condition>
  void WaitUntil(Condition done);
  void Abandon(int reason);
  void GrowBuffer(std::int32_t capacity);
  void MakeRoomFor(std::int32_t length);

  bool is_paused_ = false;  // a full buffer stopped the notifications of input
  std::chrono::steady_clock::time_point sign_of_life_ =
      {};  // time of the last data from the peer, or of the start of the wait
};

#endif
