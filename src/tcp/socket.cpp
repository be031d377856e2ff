#include "tcp/socket.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>
#include <utility>

#include "base/memory.h"
#include "base/pump.h"

namespace {

constexpr long kConnectEvents = FD_CONNECT | FD_CLOSE;
constexpr long kTransferEvents = FD_READ | FD_WRITE | FD_CLOSE;

// Maximum number of bytes to receive ahead. More data stays in the system's buffers, which then block the
// peer.
constexpr std::int32_t kMostWaiting = 1 << 20;

constinit std::atomic<unsigned int> timeout_seconds = 0;
static_assert(std::atomic<unsigned int>::is_always_lock_free);

// Returns the milliseconds that a wait may still last, -1 for no limit.
int TimeLeft(std::chrono::steady_clock::time_point since) {
  constexpr std::int64_t kLongestSleep = 60 * 1000;
  const unsigned int seconds = timeout_seconds;
  if (seconds == 0) return -1;
  const auto left = since + std::chrono::seconds(seconds) - std::chrono::steady_clock::now();
  const std::int64_t milliseconds = std::chrono::ceil<std::chrono::milliseconds>(left).count();
  return static_cast<int>(std::clamp<std::int64_t>(milliseconds, 0, kLongestSleep));
}

}  // namespace

void tvl::SetSocketTimeout(unsigned int seconds) {
  timeout_seconds = seconds;
}

// Runs the message pump until `done` returns true or the timeout ends the connection.
template <typename Condition>
void CJSock::WaitUntil(Condition done) {
  sign_of_life_ = std::chrono::steady_clock::now();
  while (!done()) {
    const int left = TimeLeft(sign_of_life_);
    if (left == 0) return Abandon(WSAETIMEDOUT);
    tvl::SleepUntilPumpIsDue(left);
    PumpMessages();
  }
}

CJSock::~CJSock() {
  rxBuffer = static_cast<unsigned char*>(SafeFree(rxBuffer));
  rxCapacity = 0;
  rxRead = 0;
  rxWrite = 0;
  CloseSocket();
}

BOOL CJSock::OpenSocket() {
  CloseSocket();
  created = Create(0, kStreamSocket, kConnectEvents, nullptr);
  return created;
}

int CJSock::ConnectHost(const char* host, unsigned int port) {
  const tvl::SocketWait wait(*this);
  connected = 0;
  lastError = 0;
  rxRead = 0;
  rxWrite = 0;
  is_paused_ = false;
  if (OpenSocket() == 0) return 0;
  if (Connect(host, port) != 0) {
    connected = 1;
  } else if (WSAGetLastError() != WSAEWOULDBLOCK) {
    lastError = WSAGetLastError();
  }
  WaitUntil([this] { return connected != 0 || lastError != 0; });
  if (connected != 0) {
    AsyncSelect(kTransferEvents);
  } else {
    tvl::NoteSocketError(lastError);
  }
  return connected;
}

int CJSock::SendAll(const void* bytes, int length) {
  if (connected == 0) return 0;
  const tvl::SocketWait wait(*this);
  const auto* next = static_cast<const unsigned char*>(bytes);
  while (length > 0) {
    const int sent = Send(next, length, 0);
    if (sent >= 0) {
      next += sent;
      length -= sent;
      continue;
    }
    if (WSAGetLastError() != WSAEWOULDBLOCK) return 0;
    writable = 0;
    WaitUntil([this] { return writable != 0 || connected == 0; });
    if (connected == 0) return 0;
  }
  return 1;
}

int CJSock::ReceiveAll(void* destination, int length) {
  if (length < 0 || length > kMostWaiting) return -1;
  const tvl::SocketWait wait(*this);
  const auto complete = [=, this] { return rxWrite - rxRead >= length; };
  if (!complete()) {
    MakeRoomFor(length);
    WaitUntil([=, this] { return complete() || connected == 0; });
  }
  if (connected == 0) return -1;
  if (length == 0) return 0;
  std::memcpy(destination, rxBuffer + rxRead, static_cast<std::size_t>(length));
  rxRead += length;
  if (rxRead == rxWrite) rxRead = rxWrite = 0;
  return length;
}

void CJSock::CloseSocket() {
  if (created == 0) return;
  ShutDown(kShutDownSending);
  Close();
  created = 0;
}

void CJSock::Abandon() {
  Abandon(WSAECONNRESET);
}

void CJSock::Abandon(int reason) {
  connected = 0;
  lastError = reason;
  CloseSocket();
  tvl::NoteSocketError(reason);
}

void CJSock::OnConnect(int code) {
  if (code != 0) {
    lastError = code;
  } else {
    connected = 1;
  }
  CAsyncSocket::OnConnect(code);
}

void CJSock::OnSend(int code) {
  CAsyncSocket::OnSend(code);
  if (code == 0) writable = 1;
}

void CJSock::OnClose(int code) {
  connected = 0;
  lastError = code != 0 ? code : WSAECONNRESET;
  tvl::NoteSocketError(lastError);
  CAsyncSocket::OnClose(code);
}

// `rxWrite` advances by the bytes received, which may differ from the number announced. What comes meanwhile
// is left to the next notification.
void CJSock::OnReceive(int code) try {
  CAsyncSocket::OnReceive(code);
  DWORD announced = 0;
  if (IOCtl(kBytesToRead, &announced) == 0 || announced == 0) return;
  is_paused_ = rxWrite >= kMostWaiting;
  if (is_paused_) return;
  const auto count = static_cast<int>(std::min<DWORD>(announced, static_cast<DWORD>(kMostWaiting - rxWrite)));
  GrowBuffer(rxWrite + count);
  const int received = Receive(rxBuffer + rxWrite, count, 0);
  if (received <= 0) return;
  rxWrite += received;
  sign_of_life_ = std::chrono::steady_clock::now();
} catch (const std::bad_alloc&) {
  connected = 0;
  lastError = WSAENOBUFS;
}

void CJSock::GrowBuffer(std::int32_t capacity) {
  if (capacity <= rxCapacity) return;
  rxBuffer =
      static_cast<unsigned char*>(ResizeArray(rxBuffer, static_cast<unsigned int>(rxCapacity), capacity, 1));
  rxCapacity = capacity;
}

// Lets the buffer take `length` unread bytes, and continues to receive if a full one had stopped that.
void CJSock::MakeRoomFor(std::int32_t length) {
  if (rxRead > kMostWaiting - length) {
    std::memmove(rxBuffer, rxBuffer + rxRead, static_cast<std::size_t>(rxWrite - rxRead));
    rxWrite -= rxRead;
    rxRead = 0;
  }
  if (std::exchange(is_paused_, false)) AsyncSelect(kTransferEvents);
}
