#ifndef TVL_TESTS_SUPPORT_SOCKETS_H
#define TVL_TESTS_SUPPORT_SOCKETS_H

// Sockets with the names that they have on POSIX.

#ifdef _WIN32
#include <winsock2.h>
#include <ws2tcpip.h>

#include <utility>

constexpr int MSG_NOSIGNAL = 0;
constexpr int SOCK_CLOEXEC = 0;
constexpr int SHUT_WR = SD_SEND;

inline int CloseSocket(int socket) {
  return closesocket(static_cast<SOCKET>(socket));
}
// Ends an accept() of another thread.
inline void StopListening(int& listener) {
  CloseSocket(std::exchange(listener, -1));
}
inline int accept4(int listener, sockaddr* address, int* size, int /*flags*/) {
  return static_cast<int>(accept(static_cast<SOCKET>(listener), address, size));
}
inline int OpenSocket(int family) {
  static WSADATA data;
  static const int started = WSAStartup(MAKEWORD(2, 2), &data);
  return started == 0 ? static_cast<int>(socket(family, SOCK_STREAM, 0)) : -1;
}
inline void SetReadTimeout(int socket, int seconds) {
  const DWORD patience = static_cast<DWORD>(seconds) * 1000;
  setsockopt(static_cast<SOCKET>(socket), SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&patience),
             sizeof patience);
}
#else
#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

inline int CloseSocket(int socket) {
  return close(socket);
}
inline void StopListening(int& listener) {
  shutdown(listener, SHUT_RD);
}
inline int OpenSocket(int family) {
  return socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
}
inline void SetReadTimeout(int socket, int seconds) {
  const timeval patience = {seconds, 0};
  setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
}
#endif

template <typename Value>
void SetSocketOption(int socket, int level, int option, const Value& value) {
  setsockopt(socket, level, option, reinterpret_cast<const char*>(&value), sizeof value);
}

#endif
