#ifndef TVL_PLATFORM_ASYNC_SOCKET_H
#define TVL_PLATFORM_ASYNC_SOCKET_H

#include <memory>

#include "platform/files.h"

constexpr int kStreamSocket = 1;

// Events for which a socket calls its hooks.
constexpr long FD_READ = 0x01;
constexpr long FD_WRITE = 0x02;
constexpr long FD_CONNECT = 0x10;
constexpr long FD_CLOSE = 0x20;

constexpr int kShutDownSending = 1;
constexpr long kBytesToRead = 0x4004667F;  // request of IOCtl: number of bytes that can be read now

// Codes that callers distinguish. Any other failure is another number, never 0.
constexpr int WSAEWOULDBLOCK = 10035;
constexpr int WSAECONNRESET = 10054;
constexpr int WSAENOBUFS = 10055;
constexpr int WSAETIMEDOUT = 10060;

// Returns the code of the calling thread's last failed socket call.
int WSAGetLastError();

namespace tvl {

// Records the failure of a connection for TVLLastFileError, by one of these codes or a code of OnClose or
// OnConnect.
void NoteSocketError(int code);

class SocketWait;
struct WaitedSocket;

// Calls the due hooks of the socket that this thread waits for. Never blocks.
void NotifySocket();

}  // namespace tvl

// A stream socket that never blocks and reports events by calling hooks.
//
// The hooks are called from the message pump of the thread that waits for the socket (tvl::SocketWait), so
// several threads may use a connection in turn. A pump calls OnReceive or OnClose, not both, so that
// everything the peer sent before it closed is read before OnClose.
//
// A forked child cannot use a socket of its parent and does not keep it open, so the peer notices when the
// parent closes it or exits.
class CAsyncSocket {
 public:
  CAsyncSocket();
  virtual ~CAsyncSocket();
  CAsyncSocket(const CAsyncSocket&) = delete;
  CAsyncSocket& operator=(const CAsyncSocket&) = delete;

  // Prepares the socket for Connect: `port` is 0, `type` kStreamSocket, `address` null. Returns nonzero on
  // success.
  BOOL Create(unsigned int port, int type, long events, const char* address);

  // Connects to a name or an address. Tries all addresses of a host in turn, IPv6 and IPv4. Returns nonzero
  // if connected at once. Returns 0 with WSAEWOULDBLOCK while the connect is in progress; then OnConnect
  // reports the result. Returns 0 with another code on failure. Looking up the name blocks.
  BOOL Connect(const char* host, unsigned int port);

  // Replaces the set of events. Reports readable data once more.
  BOOL AsyncSelect(long events);

  // Return the number of bytes transferred, 0 from Receive at the end of the stream, or -1.
  virtual int Receive(void* buffer, int length, int flags);
  virtual int Send(const void* buffer, int length, int flags);

  virtual void Close();

  // Returns the handle of the socket, INVALID_HANDLE_VALUE if there is none.
  [[nodiscard]] HANDLE Handle() const;

  // Returns nonzero on success.
  BOOL ShutDown(int how);
  BOOL IOCtl(long command, DWORD* value);

 protected:
  // Returns true if the peer has shut down its side of the stream or the connection has failed. Never blocks.
  [[nodiscard]] bool HasPeerEnded() const;

  // `code` is 0 or the code of a failure. OnReceive must call IOCtl for the number of bytes to read, which is
  // 0 at the end of the stream, and is called again only after a Receive. OnSend is called again after a Send
  // that would have blocked. OnClose is called once.
  virtual void OnReceive(int code);
  virtual void OnSend(int code);
  virtual void OnConnect(int code);
  virtual void OnClose(int code);

 private:
  friend class tvl::SocketWait;
  friend struct tvl::WaitedSocket;
  friend void tvl::NotifySocket();
  struct Native;  // what the system needs

  int TryNextAddress();
  [[nodiscard]] bool OpenNative(int family);
  void CloseNative();
  void ForgetAddresses();
  void BecomeConnected();
  void Notify(short ready);
  void FinishConnect();
  void NotifyOfInput();
  void NotifyOfClose(int code);

  long events_ = 0;
  bool connecting_ = false;
  bool read_due_ = false;           // OnReceive is to be called
  bool write_due_ = false;          // OnSend is to be called
  bool closed_ = false;             // OnClose has been called
  short ready_ = 0;                 // events that the last sleep has found, for the next pump
  DWORD to_read_ = 0;               // last result of IOCtl
  std::unique_ptr<Native> native_;  // null before Create
};

namespace tvl {

// As long as this object exists, the pump of the calling thread serves `socket`, and WaitMessage wakes up for
// it. The innermost object counts: while a pump hook of the application uses another connection, that one is
// served.
class SocketWait {
 public:
  explicit SocketWait(CAsyncSocket& socket);
  ~SocketWait();
  SocketWait(const SocketWait&) = delete;
  SocketWait& operator=(const SocketWait&) = delete;

 private:
  CAsyncSocket* outer_;
};

}  // namespace tvl

#endif
