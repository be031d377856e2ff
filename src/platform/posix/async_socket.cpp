#include "platform/async_socket.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <new>
#include <utility>

#include "host/fork_guard.h"
#include "platform/common/socket_state.h"
#include "platform/last_error.h"
#include "platform/posix/descriptor_of.h"
#include "platform/posix/waited_socket.h"

namespace {

using tvl::kHostNotFound;
using tvl::socket_error;
using tvl::waited_socket;

// A peer that disappears silently is detected after two minutes, not after the system's two hours.
constexpr int kSecondsBeforeProbe = 60;
constexpr int kSecondsBetweenProbes = 15;
constexpr int kProbes = 4;

int Code(int error) {
  switch (error) {
    case EAGAIN:
      return WSAEWOULDBLOCK;
    case ECONNRESET:
    case EPIPE:
      return WSAECONNRESET;
    case ENOMEM:
    case ENOBUFS:
      return WSAENOBUFS;
    default:
      return error;
  }
}

// The system also returns EAGAIN for a connect if it is short of a resource; then no connect is in progress.
int ConnectCode(int error) {
  return error == EAGAIN ? WSAENOBUFS : Code(error);
}

BOOL Succeeded(bool success) {
  if (!success) socket_error = Code(errno);
  return success ? 1 : 0;
}

// Repeats a call that a signal interrupted. Records its failure.
template <typename Call>
int Transfer(Call call) {
  ssize_t result = 0;
  do {
    result = call();
  } while (result < 0 && errno == EINTR);
  if (result < 0) socket_error = Code(errno);
  return static_cast<int>(result);
}

void SetOption(int descriptor, int level, int option, int value) {
  setsockopt(descriptor, level, option, &value, sizeof value);
}

void SetOptions(int descriptor) {
  SetOption(descriptor, IPPROTO_TCP, TCP_NODELAY, 1);
  SetOption(descriptor, SOL_SOCKET, SO_KEEPALIVE, 1);
  SetOption(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, kSecondsBeforeProbe);
  SetOption(descriptor, IPPROTO_TCP, TCP_KEEPINTVL, kSecondsBetweenProbes);
  SetOption(descriptor, IPPROTO_TCP, TCP_KEEPCNT, kProbes);
  // Inline, because an out-of-band byte counts as readable for some system calls and not for others.
  SetOption(descriptor, SOL_SOCKET, SO_OOBINLINE, 1);
}

int PendingError(int descriptor) {
  int error = 0;
  socklen_t size = sizeof error;
  return getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

addrinfo* LookUp(const char* host, unsigned int port) {
  char service[16] = {};
  *std::to_chars(service, service + sizeof service - 1, port).ptr = 0;
  addrinfo wanted = {};
  wanted.ai_family = AF_UNSPEC;
  wanted.ai_socktype = SOCK_STREAM;
  wanted.ai_flags = AI_NUMERICSERV;
  addrinfo* found = nullptr;
  return port <= 0xFFFF && getaddrinfo(host, service, &wanted, &found) == 0 ? found : nullptr;
}

}  // namespace

// A host without an address has no errno value.
void tvl::NoteSocketError(int code) {
  static constexpr struct {
    int code, error;
  } kErrors[] = {
      {kHostNotFound, 0}, {WSAECONNRESET, ECONNRESET}, {WSAENOBUFS, ENOBUFS}, {WSAETIMEDOUT, ETIMEDOUT}};
  for (const auto& row : kErrors) {
    if (row.code == code) code = row.error;
  }
  NoteError("", code);
}

struct CAsyncSocket::Native {
  tvl::ForkGuard::Entry socket;
  addrinfo* addresses = nullptr;
  const addrinfo* next_address = nullptr;
};

CAsyncSocket::CAsyncSocket() = default;

CAsyncSocket::~CAsyncSocket() {
  CAsyncSocket::Close();
}

// Connect creates the descriptor, because the address determines the family.
BOOL CAsyncSocket::Create(unsigned int /*port*/, int /*type*/, long events, const char* /*address*/) {
  CAsyncSocket::Close();
  events_ = events;
  if (native_ == nullptr) native_.reset(new (std::nothrow) Native);
  if (native_ == nullptr) socket_error = WSAENOBUFS;
  return native_ != nullptr ? 1 : 0;
}

BOOL CAsyncSocket::Connect(const char* host, unsigned int port) {
  native_->addresses = LookUp(host, port);
  native_->next_address = native_->addresses;
  socket_error = native_->addresses == nullptr ? kHostNotFound : TryNextAddress();
  return socket_error == 0 ? 1 : 0;
}

// Returns 0 if connected at once, WSAEWOULDBLOCK if in progress, or the failure of the last address.
int CAsyncSocket::TryNextAddress() {
  int problem = kHostNotFound;
  while (native_->next_address != nullptr) {
    const addrinfo& address = *std::exchange(native_->next_address, native_->next_address->ai_next);
    CloseNative();
    if (OpenNative(address.ai_family)) {
      if (connect(tvl::DescriptorOf(Handle()), address.ai_addr, address.ai_addrlen) == 0) {
        BecomeConnected();
        return 0;
      }
      if (errno == EINPROGRESS || errno == EINTR) {
        connecting_ = true;
        return WSAEWOULDBLOCK;
      }
    }
    problem = ConnectCode(errno);
  }
  ForgetAddresses();
  return problem;
}

bool CAsyncSocket::OpenNative(int family) {
  const auto open = [family] { return ::socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0); };
  if (!tvl::ForkGuard::OpenFor(native_->socket, open)) return false;
  SetOptions(native_->socket.descriptor);
  return true;
}

void CAsyncSocket::CloseNative() {
  if (Handle() != INVALID_HANDLE_VALUE) tvl::ForkGuard::Close(native_->socket);
}

HANDLE CAsyncSocket::Handle() const {
  return native_ == nullptr ? INVALID_HANDLE_VALUE : native_->socket.descriptor;
}

void CAsyncSocket::ForgetAddresses() {
  if (native_ == nullptr) return;
  if (native_->addresses != nullptr) freeaddrinfo(native_->addresses);
  native_->addresses = nullptr;
  native_->next_address = nullptr;
}

int CAsyncSocket::Receive(void* buffer, int length, int flags) {
  read_due_ = true;
  return Transfer([=, this] {
    return recv(tvl::DescriptorOf(Handle()), buffer, static_cast<std::size_t>(length), flags);
  });
}

int CAsyncSocket::Send(const void* buffer, int length, int flags) {
  const int sent = Transfer([=, this] {
    return send(tvl::DescriptorOf(Handle()), buffer, static_cast<std::size_t>(length), flags | MSG_NOSIGNAL);
  });
  if (sent < 0 && socket_error == WSAEWOULDBLOCK) write_due_ = true;
  return sent;
}

void CAsyncSocket::Close() {
  CloseNative();
  ForgetAddresses();
  connecting_ = false;
  read_due_ = false;
  write_due_ = false;
  closed_ = false;
  ready_ = 0;
}

BOOL CAsyncSocket::ShutDown(int how) {
  return Succeeded(::shutdown(tvl::DescriptorOf(Handle()), how) == 0);
}

BOOL CAsyncSocket::IOCtl(long /*command*/, DWORD* value) {
  int count = 0;
  const BOOL success = Succeeded(ioctl(tvl::DescriptorOf(Handle()), FIONREAD, &count) == 0);
  to_read_ = static_cast<DWORD>(count);
  *value = to_read_;
  return success;
}

bool CAsyncSocket::HasPeerEnded() const {
  pollfd socket = {tvl::DescriptorOf(Handle()), POLLRDHUP, 0};
  return Handle() == INVALID_HANDLE_VALUE || poll(&socket, 1, 0) != 0;
}

void CAsyncSocket::Notify(short ready) {
  if (connecting_) {
    FinishConnect();
    return;
  }
  const bool dead = (ready & (POLLERR | POLLHUP | POLLNVAL)) != 0;
  if (write_due_ && (dead || (ready & POLLOUT) != 0)) {
    write_due_ = false;
    OnSend(0);
  }
  if (read_due_ && (dead || (ready & POLLIN) != 0)) {
    NotifyOfInput();
  } else if (dead) {
    NotifyOfClose(Code(PendingError(tvl::DescriptorOf(Handle()))));
  }
}

void CAsyncSocket::FinishConnect() {
  connecting_ = false;
  int problem = ConnectCode(PendingError(tvl::DescriptorOf(Handle())));
  if (problem == 0) {
    BecomeConnected();
  } else if (native_->next_address != nullptr) {
    problem = TryNextAddress();
  }
  if (!connecting_) OnConnect(problem);
}

// At the end of the stream there is nothing to read in OnReceive.
void CAsyncSocket::NotifyOfInput() {
  read_due_ = false;
  to_read_ = 0;
  OnReceive(0);
  if (read_due_ || to_read_ > 0) return;
  read_due_ = true;
  char byte = 0;
  const int seen = Transfer([&] { return recv(tvl::DescriptorOf(Handle()), &byte, 1, MSG_PEEK); });
  if (seen > 0) return;  // it has just arrived: the next pump reports it
  if (seen == 0) NotifyOfClose(0);
  if (seen < 0 && socket_error != WSAEWOULDBLOCK) NotifyOfClose(socket_error);
}

namespace tvl {

pollfd WaitedSocket::Poll() {
  const CAsyncSocket* socket = waited_socket;
  if (socket == nullptr || socket->closed_) return {-1, 0, 0};
  if (socket->connecting_) return {DescriptorOf(socket->Handle()), POLLOUT, 0};
  const bool reads = socket->read_due_ && (socket->events_ & FD_READ) != 0;
  const bool writes = socket->write_due_ && (socket->events_ & FD_WRITE) != 0;
  return {DescriptorOf(socket->Handle()), static_cast<short>((reads ? POLLIN : 0) | (writes ? POLLOUT : 0)),
          0};
}

void WaitedSocket::Remember(short ready) {
  if (waited_socket != nullptr) waited_socket->ready_ = ready;
}

void NotifySocket() {
  pollfd waited = WaitedSocket::Poll();
  if (waited.fd < 0) return;
  waited.revents = std::exchange(waited_socket->ready_, short{0});
  if (waited.revents != 0 || poll(&waited, 1, 0) > 0) waited_socket->Notify(waited.revents);
}

}  // namespace tvl
