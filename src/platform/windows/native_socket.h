#ifndef TVL_PLATFORM_WINDOWS_NATIVE_SOCKET_H
#define TVL_PLATFORM_WINDOWS_NATIVE_SOCKET_H

#include <cstdint>
#include <memory>
#include <vector>

// Sockets and messages of the system, for the same reason as native.h. Codes are those of the system, such as
// WSAEWOULDBLOCK.

namespace tvl::native {

struct Address {
  std::vector<unsigned char> bytes;
};

// Returns the addresses of a host, none if it is unknown. Blocks. May throw std::bad_alloc.
[[nodiscard]] std::vector<Address> LookUp(const char* host, unsigned int port);

struct Ready {
  bool reads = false;
  bool writes = false;
  bool failed = false;  // the connection or the connect
  [[nodiscard]] bool Any() const { return reads || writes || failed; }
};

// A stream socket that never blocks.
class Socket {
 public:
  // Check IsOpen of the result; on failure `code` is the reason.
  Socket(const Address& address, int* code);
  ~Socket();
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  [[nodiscard]] bool IsOpen() const;
  [[nodiscard]] std::intptr_t Get() const { return static_cast<std::intptr_t>(socket_); }

  // These return 0 or a code.
  [[nodiscard]] int Connect(const Address& address);
  [[nodiscard]] int ShutDown(int how);
  [[nodiscard]] int CountToRead(std::uint32_t* count);
  [[nodiscard]] int PendingError() const;

  // Return the number of bytes, or -1 with a code.
  int Receive(void* buffer, int length, int flags, int* code);
  int Send(const void* buffer, int length, int flags, int* code);
  // Looks at the next byte without taking it.
  int Peek(int* code);

  // Returns what of `wanted` is possible without waiting; failures are always reported. While connecting, a
  // success is that it can write.
  [[nodiscard]] Ready Look(const Ready& wanted, bool connecting) const;
  [[nodiscard]] bool HasPeerEnded() const;

 private:
  friend void WaitForMessage(const Socket* socket, const Ready& wanted, bool connecting, int milliseconds);

  std::uintptr_t socket_;
  void* event_ = nullptr;  // set by the system when the socket becomes ready
};

// Sleeps until the thread has a message, the socket, if not null, is ready, or the time is over.
void WaitForMessage(const Socket* socket, const Ready& wanted, bool connecting, int milliseconds);

struct Message {
  std::intptr_t window;
  std::uint32_t number;
  std::uintptr_t first;
  std::intptr_t second;
  std::uint32_t time;
  std::int32_t x;
  std::int32_t y;
};

// Takes the first message off the queue of the calling thread. Returns false if there is none. Leaves the
// request to quit for the application's own loop.
[[nodiscard]] bool TakeMessage(Message* message);
void Dispatch(const Message& message);

}  // namespace tvl::native

#endif
