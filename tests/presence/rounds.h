#ifndef TVL_TESTS_PRESENCE_ROUNDS_H
#define TVL_TESTS_PRESENCE_ROUNDS_H

#include <atomic>
#include <string>

// Memory that a test and its helper share, by which they do the parts of a round at the very same time.
class RoundsTogether {
 public:
  enum class Party { kTest, kHelper };

  // `file` is made if it isn't there.
  RoundsTogether(const std::string& file, Party party);
  RoundsTogether(const RoundsTogether&) = delete;
  RoundsTogether& operator=(const RoundsTogether&) = delete;
  ~RoundsTogether();

  // Goes on when the other has come here as often.
  void Meet();

  // Counted and read by both.
  std::atomic<int>& Wrong() { return shared_->wrong; }
  std::atomic<int>& Signal() { return shared_->signal; }

 private:
  struct Shared {
    std::atomic<int> meetings[2];
    std::atomic<int> wrong;
    std::atomic<int> signal;
  };

  Shared* shared_;
  int own_;
};

#endif
