#ifndef TVL_TESTS_TCP_SYSTEM_H
#define TVL_TESTS_TCP_SYSTEM_H

// The system as this test program sees it. The computer is "A.example", the user is "b", and the host
// "several.test" has the addresses 255.255.255.255, where a connect fails at once, 127.0.0.9, where nobody
// listens, ::1 and 127.0.0.1. The host "unreachable.test" has the first of them alone.

// What a thread can be made to go without: names of computer and user, handlers of a fork, memory by `new`.
enum class Lack { kNames, kForkHandlers, kMemory };

// As long as this lives its thread goes without that.
class Without {
 public:
  explicit Without(Lack what);
  ~Without();
  Without(const Without&) = delete;
  Without& operator=(const Without&) = delete;

 private:
  Lack what_;
};

#endif
