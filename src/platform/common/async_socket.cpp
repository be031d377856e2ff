#include "platform/async_socket.h"

#include <utility>

#include "platform/common/socket_state.h"

constinit thread_local int tvl::socket_error = 0;
constinit thread_local CAsyncSocket* tvl::waited_socket = nullptr;

int WSAGetLastError() {
  return tvl::socket_error;
}

void CAsyncSocket::BecomeConnected() {
  ForgetAddresses();
  read_due_ = true;
  write_due_ = true;
}

BOOL CAsyncSocket::AsyncSelect(long events) {
  events_ = events;
  read_due_ = true;
  return 1;
}

void CAsyncSocket::OnReceive(int /*code*/) {}
void CAsyncSocket::OnSend(int /*code*/) {}
void CAsyncSocket::OnConnect(int /*code*/) {}
void CAsyncSocket::OnClose(int /*code*/) {}

void CAsyncSocket::NotifyOfClose(int code) {
  closed_ = true;
  OnClose(code);
}

namespace tvl {

SocketWait::SocketWait(CAsyncSocket& socket) : outer_(std::exchange(waited_socket, &socket)) {}

SocketWait::~SocketWait() {
  waited_socket = outer_;
}

}  // namespace tvl
