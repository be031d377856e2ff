#ifndef TVL_PLATFORM_ASYNC_SOCKET_H
#define TVL_PLATFORM_ASYNC_SOCKET_H

#include "platform/files.h"

struct addrinfo;

constexpr int kStreamSocket = 1;

// Events that a socket notifies of.
constexpr long FD_READ = 0x01;
constexpr long FD_WRITE = 0x02;
constexpr long FD_CONNECT = 0x10;
constexpr long FD_CLOSE = 0x20;

constexpr int kShutDownSending = 1;
constexpr long kBytesToRead = 0x4004667F;  // question of IOCtl: bytes that can be read now

// Codes that the logic tells apart. Any other failure is some other number, never 0.
constexpr int WSAEWOULDBLOCK = 10035;
constexpr int WSAECONNRESET = 10054;
constexpr int WSAENOBUFS = 10055;
constexpr int WSAETIMEDOUT = 10060;

// The calling thread's last failed socket call.
int WSAGetLastError();

namespace tvl {

// Notes the failure of a connection, by a code of the above or of OnClose and OnConnect, for users to see.
void NoteSocketError(int code);

class SocketWait;
struct WaitedSocket;

// Calls the hooks that are due of the socket that this thread waits for. Never waits.
void NotifySocket();

}  // namespace tvl

// A stream socket that never blocks and tells what happens by notifications.
//
// The hooks are called from inside the message pump of the thread that waits for the socket
// (tvl::SocketWait), so one connection may be used by several threads in turn. A pump calls OnReceive or
// OnClose, not both: what the peer sent before it closed can be taken before the close shows.
//
// In a forked child a socket is dead and the child holds no end of it: the peer learns of the parent's end
// whatever the children do.
class CAsyncSocket {
 public:
  CAsyncSocket() = default;
  virtual ~CAsyncSocket();
  CAsyncSocket(const CAsyncSocket&) = delete;
  CAsyncSocket& operator=(const CAsyncSocket&) = delete;

  // Makes the socket ready for Connect: `port` 0, `type` kStreamSocket, `address` null. Not 0 on success.
  BOOL Create(unsigned int port, int type, long events, const char* address);

  // Connects to a name or an address. A host with several is tried address by address, IPv6 and IPv4. Not 0
  // if connected at once; 0 with WSAEWOULDBLOCK while it is under way, and then OnConnect tells how it ended,
  // or with another code. Looking the name up blocks.
  BOOL Connect(const char* host, unsigned int port);

  // Replaces the set of events. What there is to read is notified of once more.
  BOOL AsyncSelect(long events);

  // Bytes moved, 0 from Receive at the end of the stream, or -1.
  virtual int Receive(void* buffer, int length, int flags);
  virtual int Send(const void* buffer, int length, int flags);

  virtual void Close();

  // The system's number of the socket, -1 if there is none.
  [[nodiscard]] int Descriptor() const { return descriptor_; }

  // Not 0 on success.
  BOOL ShutDown(int how);
  BOOL IOCtl(long command, DWORD* value);

 protected:
  // True if the peer has ended its side of the stream or the connection has failed. Never waits.
  [[nodiscard]] bool HasPeerEnded() const;

  // `code` is 0 or that of a failure. OnReceive must ask IOCtl how much there is to read, which is 0 at the
  // end of the stream, and comes again only after a Receive; OnSend comes again after a Send that would have
  // blocked; OnClose comes once.
  virtual void OnReceive(int code);
  virtual void OnSend(int code);
  virtual void OnConnect(int code);
  virtual void OnClose(int code);

 private:
  friend class tvl::SocketWait;
  friend struct tvl::WaitedSocket;
  friend void tvl::NotifySocket();
  class Registry;

  int TryNextAddress();
  [[nodiscard]] bool OpenDescriptor(int family);
  void CloseDescriptor();
  void ForgetAddresses();
  void BecomeConnected();
  void Notify(short ready);
  void FinishConnect();
  void NotifyOfInput();
  void NotifyOfClose(int code);

  int descriptor_ = -1;
  long events_ = 0;
  bool connecting_ = false;
  bool read_due_ = false;   // OnReceive is wanted
  bool write_due_ = false;  // OnSend is wanted
  bool closed_ = false;     // OnClose has been called
  short ready_ = 0;         // what the last sleep has found out, for the next pump
  DWORD to_read_ = 0;       // last answer of IOCtl
  addrinfo* addresses_ = nullptr;
  const addrinfo* next_address_ = nullptr;
  CAsyncSocket* next_ = nullptr;  // of all sockets that have a descriptor
};

namespace tvl {

// As long as this lives the calling thread's pump serves `socket`, and WaitMessage wakes for it. The
// innermost counts: while an application's pump hook uses another connection, that one's events come first.
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
