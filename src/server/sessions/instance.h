#ifndef TVL_SERVER_SESSIONS_INSTANCE_H
#define TVL_SERVER_SESSIONS_INSTANCE_H

#include <string>
#include <string_view>

#include "config/config.h"
#include "presence/connection.h"
#include "server/metrics/gauge.h"
#include "server/wire/handshake.h"

namespace tvl::server {

// The presence and the locks of a client. They are the same as those of a client that uses the directory, so
// both kinds see each other. Used on the engine thread only. Destroying it releases everything.
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

  // Returns true if its marker is held. Without a marker it would count as dead, and others would ignore its
  // locks.
  [[nodiscard]] bool IsPresent() const { return connection_.markerHandle != INVALID_HANDLE_VALUE; }

  // Executes a lock or an unlock, depending on the letter, and returns the payload of the answer.
  [[nodiscard]] std::string AnswerLock(char letter, std::string_view object);

  // Returns the answer that replaces `answer` if its changes were lost: nothing was locked, or the lock still
  // exists.
  [[nodiscard]] std::string AnswerLost(char letter, const std::string& answer);

  // Records that the changes of the start were lost; the next operation makes them again.
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
