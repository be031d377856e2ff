#ifndef TVL_TESTS_SCALE_RELAY_H
#define TVL_TESTS_SCALE_RELAY_H

#include <atomic>
#include <string>
#include <thread>

// Passes one TCP connection at a time on to a socket of the host, as over a network: what a client sends
// arrives a millisecond later. Counts the round trips.
class Relay {
 public:
  explicit Relay(std::string target);
  Relay(const Relay&) = delete;
  Relay& operator=(const Relay&) = delete;
  ~Relay();

  [[nodiscard]] int Port() const { return port_; }
  [[nodiscard]] int RoundTrips() const { return round_trips_; }

 private:
  void Serve();
  void PassOn(int client);

  std::string target_;
  int listener_ = -1;
  int port_ = 0;
  std::atomic<bool> ends_ = false;
  std::atomic<int> round_trips_ = 0;
  std::thread thread_;
};

#endif
