#include "platform/async_socket.h"

#include <cerrno>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "platform/common/socket_state.h"
#include "platform/last_error.h"
#include "platform/windows/native_socket.h"
#include "platform/windows/waited_socket.h"

// The system could post its notifications to a window, but that belongs to one thread, and a connection may
// serve several in turn. So the socket sets an event, for which WaitMessage waits as well as for messages.

namespace {

using tvl::kHostNotFound;
using tvl::socket_error;
using tvl::waited_socket;

namespace native = tvl::native;

constexpr int kNotConnected = 10057;

// Events of CAsyncSocket::Notify.
constexpr short kReads = 1;
constexpr short kWrites = 2;
constexpr short kFailed = 4;

BOOL Succeeded(int code) {
  if (code != 0) socket_error = code;
  return code == 0 ? 1 : 0;
}

}  // namespace

// A host without an address has no errno value.
void tvl::NoteSocketError(int code) {
  static constexpr struct {
    int code, error;
  } kErrors[] = {{kHostNotFound, 0},        {WSAECONNRESET, ECONNRESET}, {WSAENOBUFS, ENOBUFS},
                 {WSAETIMEDOUT, ETIMEDOUT}, {10051, ENETUNREACH},        {10053, ECONNABORTED},
                 {10061, ECONNREFUSED},     {10065, EHOSTUNREACH}};
  for (const auto& row : kErrors) {
    if (row.code == code) {
      NoteError("", row.error);
      return;
    }
  }
  NoteError("", code);
}

struct CAsyncSocket::Native {
  std::optional<native::Socket> socket;
  std::vector<native::Address> addresses;
  std::size_t next_address = 0;
};

CAsyncSocket::CAsyncSocket() = default;

CAsyncSocket::~CAsyncSocket() {
  CAsyncSocket::Close();
}

// Connect creates the socket, because the address determines the family.
BOOL CAsyncSocket::Create(unsigned int /*port*/, int /*type*/, long events, const char* /*address*/) {
  CAsyncSocket::Close();
  events_ = events;
  if (native_ == nullptr) native_.reset(new (std::nothrow) Native);
  if (native_ == nullptr) socket_error = WSAENOBUFS;
  return native_ != nullptr ? 1 : 0;
}

BOOL CAsyncSocket::Connect(const char* host, unsigned int port) try {
  native_->addresses = native::LookUp(host, port);
  native_->next_address = 0;
  socket_error = native_->addresses.empty() ? kHostNotFound : TryNextAddress();
  return socket_error == 0 ? 1 : 0;
} catch (const std::bad_alloc&) {
  socket_error = WSAENOBUFS;
  return 0;
}

// Returns 0 if connected at once, WSAEWOULDBLOCK if in progress, or the failure of the last address.
int CAsyncSocket::TryNextAddress() {
  int problem = kHostNotFound;
  while (native_->next_address < native_->addresses.size()) {
    const native::Address& address = native_->addresses[native_->next_address++];
    native_->socket.emplace(address, &problem);
    if (problem == 0) problem = native_->socket->Connect(address);
    if (problem == 0) {
      BecomeConnected();
      return 0;
    }
    connecting_ = problem == WSAEWOULDBLOCK;
    if (connecting_) return problem;
  }
  ForgetAddresses();
  return problem;
}

void CAsyncSocket::CloseNative() {
  if (native_ != nullptr) native_->socket.reset();
}

HANDLE CAsyncSocket::Handle() const {
  const bool is_open = native_ != nullptr && native_->socket.has_value() && native_->socket->IsOpen();
  return is_open ? native_->socket->Get() : INVALID_HANDLE_VALUE;
}

void CAsyncSocket::ForgetAddresses() {
  if (native_ == nullptr) return;
  native_->addresses.clear();
  native_->next_address = 0;
}

int CAsyncSocket::Receive(void* buffer, int length, int flags) {
  read_due_ = true;
  if (Handle() == INVALID_HANDLE_VALUE) return Succeeded(kNotConnected) - 1;
  return native_->socket->Receive(buffer, length, flags, &socket_error);
}

int CAsyncSocket::Send(const void* buffer, int length, int flags) {
  if (Handle() == INVALID_HANDLE_VALUE) return Succeeded(kNotConnected) - 1;
  const int sent = native_->socket->Send(buffer, length, flags, &socket_error);
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
}

BOOL CAsyncSocket::ShutDown(int how) {
  return Succeeded(Handle() == INVALID_HANDLE_VALUE ? kNotConnected : native_->socket->ShutDown(how));
}

BOOL CAsyncSocket::IOCtl(long /*command*/, DWORD* value) {
  to_read_ = 0;
  const int code = Handle() == INVALID_HANDLE_VALUE ? kNotConnected : native_->socket->CountToRead(&to_read_);
  *value = to_read_;
  return Succeeded(code);
}

bool CAsyncSocket::HasPeerEnded() const {
  return Handle() == INVALID_HANDLE_VALUE || native_->socket->HasPeerEnded();
}

void CAsyncSocket::Notify(short ready) {
  if (connecting_) {
    FinishConnect();
    return;
  }
  const bool dead = (ready & kFailed) != 0;
  if (write_due_ && (dead || (ready & kWrites) != 0)) {
    write_due_ = false;
    OnSend(0);
  }
  if (read_due_ && (dead || (ready & kReads) != 0)) {
    NotifyOfInput();
  } else if (dead) {
    NotifyOfClose(native_->socket->PendingError());
  }
}

void CAsyncSocket::FinishConnect() {
  connecting_ = false;
  int problem = native_->socket->PendingError();
  if (problem == 0) {
    BecomeConnected();
  } else if (native_->next_address < native_->addresses.size()) {
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
  const int seen = native_->socket->Peek(&socket_error);
  if (seen > 0) return;  // it has just arrived: the next pump reports it
  if (seen == 0) NotifyOfClose(0);
  if (seen < 0 && socket_error != WSAEWOULDBLOCK) NotifyOfClose(socket_error);
}

namespace tvl {

const native::Socket* WaitedSocket::Get(native::Ready* wanted, bool* connecting) {
  const CAsyncSocket* socket = waited_socket;
  if (socket == nullptr || socket->closed_ || socket->Handle() == INVALID_HANDLE_VALUE) return nullptr;
  *connecting = socket->connecting_;
  wanted->reads = socket->read_due_ && (socket->events_ & FD_READ) != 0;
  wanted->writes = socket->write_due_ && (socket->events_ & FD_WRITE) != 0;
  return &*socket->native_->socket;
}

void WaitedSocket::Wait(int milliseconds) {
  native::Ready wanted;
  bool connecting = false;
  const native::Socket* socket = Get(&wanted, &connecting);
  native::WaitForMessage(socket, wanted, connecting, milliseconds);
}

void NotifySocket() {
  native::Ready wanted;
  bool connecting = false;
  const native::Socket* socket = WaitedSocket::Get(&wanted, &connecting);
  if (socket == nullptr) return;
  const native::Ready ready = socket->Look(wanted, connecting);
  if (!ready.Any()) return;
  waited_socket->Notify(static_cast<short>((ready.reads ? kReads : 0) | (ready.writes ? kWrites : 0) |
                                           (ready.failed ? kFailed : 0)));
}

}  // namespace tvl
