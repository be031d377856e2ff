/* Keeps an event loop running during a transfer: the library calls a hook regularly, which handles the events
   that are due and returns. The loop here waits for a timer; that of a real program has windows or sockets.

   Usage: event_loop CONFIG WORK NAME */

#include <poll.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <tvlclient/tvl.h>
#include <tvlclient/tvlc.h>

struct event_loop {
  int timer;
  int ticks;
};

/* Handles events that are due within `milliseconds`. */
static void run_loop(struct event_loop* loop, int milliseconds) {
  struct pollfd ready = {loop->timer, POLLIN, 0};
  uint64_t expired = 0;
  if (poll(&ready, 1, milliseconds) > 0 && read(loop->timer, &expired, sizeof expired) == sizeof expired)
    ++loop->ticks;
}

/* Must not wait, and must not use the store. */
static void run_pending_events(void* loop) {
  run_loop(loop, 0);
}

int main(int argc, char** argv) {
  const struct itimerspec every_millisecond = {{0, 1000000}, {0, 1000000}};
  struct event_loop loop = {-1, 0};
  tvlc_error error = {.size = sizeof error};
  tvlc_store* store = NULL;
  int code;

  if (argc != 4) {
    fprintf(stderr, "usage: %s CONFIG WORK NAME\n", argv[0]);
    return 2;
  }
  loop.timer = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
  timerfd_settime(loop.timer, 0, &every_millisecond, NULL);
  code = tvlc_open_directory(&store, argv[1], argv[2], "demo", &error);
  if (code == TVL_OK) {
    TVLSetPumpHook(run_pending_events, &loop);
    code = tvlc_get(store, argv[3], NULL, 1, NULL);
    TVLSetPumpHook(NULL, NULL);
    tvlc_last_error(store, &error);
    tvlc_close(store);
  }
  close(loop.timer);
  if (code != TVL_OK) {
    fprintf(stderr, "%s: %s\n", argv[3], error.text);
    return 1;
  }
  printf("%d events were handled during the transfer\n", loop.ticks);
  return 0;
}
