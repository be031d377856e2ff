// Keeps an event loop running during a transfer: the library calls a hook regularly, which handles the events
// that are due and returns. The loop here waits for a timer; that of a real program has windows or sockets.
//
// Usage: event_loop CONFIG WORK NAME

#include <poll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>

#include <tvlclient/tvlclient.h>

namespace {

class EventLoop {
 public:
  EventLoop() : timer_(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC)) {
    const itimerspec every_millisecond = {{0, 1'000'000}, {0, 1'000'000}};
    timerfd_settime(timer_, 0, &every_millisecond, nullptr);
  }
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;
  ~EventLoop() { close(timer_); }

  // Handles events that are due within `milliseconds`.
  void Run(int milliseconds) {
    pollfd ready = {timer_, POLLIN, 0};
    std::uint64_t expired = 0;
    if (poll(&ready, 1, milliseconds) > 0 && read(timer_, &expired, sizeof expired) == sizeof expired)
      ++ticks_;
  }

  [[nodiscard]] int Ticks() const { return ticks_; }

 private:
  int timer_;
  int ticks_ = 0;
};

// Must not wait, and must not use the connection.
void RunPendingEvents(void* loop) {
  static_cast<EventLoop*>(loop)->Run(0);
}

int Complain(const char* what, int code) {
  std::fprintf(stderr, "%s: %s\n", what, TVLFormatError(code).GetString());
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: %s CONFIG WORK NAME\n", argv[0]);
    return 2;
  }
  EventLoop loop;
  char client[] = "demo";
  CTVLClientSmbOpr store;
  if (const int code = store.Open(argv[2], argv[1], client)) return Complain(argv[1], code);

  TVLSetPumpHook(RunPendingEvents, &loop);
  int transferred = 1;  // even if both copies are the same
  const int code = store.GetRemote(argv[3], argv[3], &transferred);
  TVLSetPumpHook(nullptr, nullptr);
  if (code != TVL_OK) return Complain(argv[3], code);
  std::printf("%d events were handled during the transfer\n", loop.Ticks());
  return 0;
}
