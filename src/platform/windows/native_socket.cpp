#include "platform/windows/native_socket.h"

// <winsock2.h> has to come first, and includes <windows.h>.
// clang-format off
#include <winsock2.h>
#include <ws2tcpip.h>
#include <mstcpip.h>
// clang-format on

#include <cstdio>

namespace tvl::native {
namespace {

// A peer that disappears silently is detected after two minutes, not after the system's two hours.
constexpr ULONG kMillisecondsBeforeProbe = 60'000;
constexpr ULONG kMillisecondsBetweenProbes = 6'000;  // the system sends ten

// The service is never stopped, because connections may be used while the process exits.
void StartService() {
  static const int ignored = [] {
    WSADATA data = {};
    return WSAStartup(MAKEWORD(2, 2), &data);
  }();
  static_cast<void>(ignored);
}

int Result(int result) {
  return result == 0 ? 0 : WSAGetLastError();
}

int Transferred(int count, int* code) {
  if (count < 0) *code = WSAGetLastError();
  return count;
}

void SetOption(SOCKET socket, int level, int option) {
  const BOOL on = TRUE;
  setsockopt(socket, level, option, reinterpret_cast<const char*>(&on), sizeof on);
}

void SetOptions(SOCKET socket) {
  SetOption(socket, IPPROTO_TCP, TCP_NODELAY);
  SetOption(socket, SOL_SOCKET, SO_OOBINLINE);
  tcp_keepalive keep = {1, kMillisecondsBeforeProbe, kMillisecondsBetweenProbes};
  DWORD ignored = 0;
  WSAIoctl(socket, SIO_KEEPALIVE_VALS, &keep, sizeof keep, nullptr, 0, &ignored, nullptr, nullptr);
}

const sockaddr* NativeAddress(const Address& address) {
  return reinterpret_cast<const sockaddr*>(address.bytes.data());
}

// Sets `one` to the socket and returns the set.
fd_set* SetOf(SOCKET socket, fd_set& one) {
  FD_ZERO(&one);
  one.fd_count = 1;
  one.fd_array[0] = socket;
  return &one;
}

// WSAPoll does not report a failed connect on older systems.
Ready LookWhileConnecting(SOCKET socket) {
  fd_set done;
  fd_set failed;
  timeval now = {0, 0};
  if (select(0, nullptr, SetOf(socket, done), SetOf(socket, failed), &now) <= 0) return {};
  return {.writes = done.fd_count > 0, .failed = failed.fd_count > 0};
}

}  // namespace

std::vector<Address> LookUp(const char* host, unsigned int port) {
  StartService();
  char service[16];
  std::snprintf(service, sizeof service, "%u", port);
  addrinfo wanted = {};
  wanted.ai_family = AF_UNSPEC;
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  std::vector<Address> addresses;
  if (port > 0xFFFF || getaddrinfo(host, service, &wanted, &found) != 0) return addresses;
  const std::unique_ptr<addrinfo, void (*)(addrinfo*)> list(found, [](addrinfo* all) { freeaddrinfo(all); });
  for (const addrinfo* each = found; each != nullptr; each = each->ai_next) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(each->ai_addr);
    addresses.push_back({{bytes, bytes + each->ai_addrlen}});
  }
  return addresses;
}

Socket::Socket(const Address& address, int* code)
    : socket_(WSASocketW(NativeAddress(address)->sa_family, SOCK_STREAM, IPPROTO_TCP, nullptr, 0,
                         WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT)) {
  if (!IsOpen()) {
    *code = WSAGetLastError();
    return;
  }
  event_ = WSACreateEvent();
  // Also makes the socket one that does not block.
  *code = Result(WSAEventSelect(socket_, event_, FD_READ | FD_WRITE | FD_CONNECT | FD_CLOSE));
  SetOptions(socket_);
}

Socket::~Socket() {
  if (IsOpen()) closesocket(socket_);
  if (event_ != nullptr) WSACloseEvent(event_);
}

bool Socket::IsOpen() const {
  return socket_ != INVALID_SOCKET;
}

int Socket::Connect(const Address& address) {
  return Result(connect(socket_, NativeAddress(address), static_cast<int>(address.bytes.size())));
}

int Socket::ShutDown(int how) {
  return Result(shutdown(socket_, how));
}

int Socket::CountToRead(std::uint32_t* count) {
  u_long bytes = 0;
  const int code = Result(ioctlsocket(socket_, static_cast<long>(FIONREAD), &bytes));
  *count = bytes;
  return code;
}

int Socket::PendingError() const {
  int error = 0;
  int size = sizeof error;
  return getsockopt(socket_, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &size) == 0
             ? error
             : WSAGetLastError();
}

int Socket::Receive(void* buffer, int length, int flags, int* code) {
  return Transferred(recv(socket_, static_cast<char*>(buffer), length, flags), code);
}

int Socket::Send(const void* buffer, int length, int flags, int* code) {
  return Transferred(send(socket_, static_cast<const char*>(buffer), length, flags), code);
}

int Socket::Peek(int* code) {
  char byte = 0;
  return Transferred(recv(socket_, &byte, 1, MSG_PEEK), code);
}

Ready Socket::Look(const Ready& wanted, bool connecting) const {
  if (connecting) return LookWhileConnecting(socket_);
  const auto events = static_cast<SHORT>((wanted.reads ? POLLRDNORM : 0) | (wanted.writes ? POLLWRNORM : 0));
  WSAPOLLFD polled = {socket_, events, 0};
  if (WSAPoll(&polled, 1, 0) <= 0) return {};
  return {.reads = (polled.revents & POLLRDNORM) != 0,
          .writes = (polled.revents & POLLWRNORM) != 0,
          .failed = (polled.revents & (POLLERR | POLLHUP | POLLNVAL)) != 0};
}

bool Socket::HasPeerEnded() const {
  WSAPOLLFD polled = {socket_, POLLRDNORM, 0};
  return WSAPoll(&polled, 1, 0) > 0 && (polled.revents & (POLLERR | POLLHUP | POLLNVAL)) != 0;
}

// The event is reset before the look, so what comes afterwards sets it.
void WaitForMessage(const Socket* socket, const Ready& wanted, bool connecting, int milliseconds) {
  HANDLE event = socket != nullptr ? socket->event_ : nullptr;
  if (event != nullptr) {
    WSANETWORKEVENTS ignored = {};
    WSAEnumNetworkEvents(socket->socket_, event, &ignored);
    if (socket->Look(wanted, connecting).Any()) return;
  }
  const DWORD time = milliseconds < 0 ? INFINITE : static_cast<DWORD>(milliseconds);
  MsgWaitForMultipleObjectsEx(event != nullptr ? 1 : 0, &event, time, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
}

bool TakeMessage(Message* message) {
  MSG taken = {};
  if (PeekMessageA(&taken, nullptr, 0, 0, PM_REMOVE) == 0) return false;
  if (taken.message == WM_QUIT) {
    PostQuitMessage(static_cast<int>(taken.wParam));
    return false;
  }
  *message = {reinterpret_cast<std::intptr_t>(taken.hwnd),
              taken.message,
              taken.wParam,
              taken.lParam,
              taken.time,
              taken.pt.x,
              taken.pt.y};
  return true;
}

void Dispatch(const Message& message) {
  const MSG native = {reinterpret_cast<HWND>(message.window),
                      message.number,
                      message.first,
                      message.second,
                      message.time,
                      {message.x, message.y}};
  DispatchMessageA(&native);
}

}  // namespace tvl::native
