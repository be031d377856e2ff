#ifndef TVL_STORE_CHECK_PEER_H
#define TVL_STORE_CHECK_PEER_H

#include <string>

#include "store/failure.h"

namespace tvl {

// Connects two runs of the checks on two computers through a folder in the store. The run that creates the
// folder is the first half and removes the folder at the end. Each message is a file that the other half must
// see. After a failure nothing is said or heard any more.
class Peer {
 public:
  Peer(const std::string& folder, const std::string& name);
  ~Peer();
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  [[nodiscard]] bool IsFirst() const { return first_; }

  // Why the conversation has ended, if it has.
  [[nodiscard]] const StoreFailure& Failure() const { return failure_; }

  void Say(const std::string& text = {});
  // Waits for the other half's next message and returns it; empty after a failure.
  std::string Hear();

  // Returns the path of a file for a check. Each round has its own files.
  [[nodiscard]] std::string Path(const std::string& name) const;
  void StartRound(int round) { round_ = round; }

 private:
  [[nodiscard]] std::string MessageName(bool of_first, int number) const;
  [[nodiscard]] bool Lists(const std::string& name) const;

  std::string path_;
  StoreFailure failure_;
  bool first_ = false;
  int said_ = 0;
  int heard_ = 0;
  int round_ = 0;
};

}  // namespace tvl

#endif
