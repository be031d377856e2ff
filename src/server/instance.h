#ifndef TVL_SERVER_INSTANCE_H
#define TVL_SERVER_INSTANCE_H

#include <string>
#include <string_view>

#include "config/config.h"
#include "presence/connection.h"
#include "server/handshake.h"
#include "server/status/gauge.h"

namespace tvl::server {

// A client's presence on the store and its locks, the same as those of a client that works on the directory,
// so that the two see each other. Lives on the engine's thread from its making to its end, which gives all
// back.
class Instance {
 public:
  // Get the number of locks that it holds; borrowed.
  struct LockGauges {
    Gauge& own;
    Gauge& all;  // of all clients together
  };

  // `identity`: a clean one. `address`: dotted.
  // `most_locks`: how many it may hold at once; 0 for any number.
  Instance(const CConfig& config, const Handshake& identity, const std::string& address,
           unsigned int most_locks, const LockGauges& gauges);
  ~Instance();
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;

  [[nodiscard]] int Number() const { return connection_.instance; }

  // Its marker is held. Without one it would count as dead for everybody else, and so would its locks.
  [[nodiscard]] bool IsPresent() const { return connection_.markerHandle != INVALID_HANDLE_VALUE; }

  // Payload of the answer to a lock or an unlock, the letter says which.
  [[nodiscard]] std::string AnswerLock(char letter, std::string_view object);

  // The answer in place of `answer`, where what was written for that is lost: nothing was locked, or the lock
  // is still there.
  [[nodiscard]] std::string AnswerLost(char letter, const std::string& answer);

  // What the start did to the table is lost; it is done again by the next operation.
  void NoteLostStart() { connection_.NoteLostStart(); }

  static constexpr char kNoLock[] = "0";

 private:
  [[nodiscard]] std::string DescribeOwner() const;
  [[nodiscard]] std::string DescribeSelf() const;
  void ReportLocks(int held);

  [[nodiscard]] bool MayLockMore() const {
    return most_locks_ == 0 || connection_.lockCount < static_cast<int>(most_locks_);
  }

  CConnection connection_;
  const unsigned int most_locks_;
  const LockGauges gauges_;
  int reported_locks_ = 0;
};

}  // namespace tvl::server

#endif
