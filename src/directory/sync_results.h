#ifndef TVL_DIRECTORY_SYNC_RESULTS_H
#define TVL_DIRECTORY_SYNC_RESULTS_H

#include <map>
#include <string>
#include <vector>

#include <tvlclient/smb_opr.h>

namespace tvl {

// The results of the entries of a plan.
class SyncResults {
 public:
  // May throw std::bad_alloc.
  void Begin(int entries) {
    failures_.clear();
    codes_.assign(static_cast<std::size_t>(entries), kNone);
  }

  // Stores the result of an entry, and for a failure also the last file error of the calling thread.
  void Note(int index, int code);

  [[nodiscard]] int Code(int index, int* code) const;
  [[nodiscard]] int Reason(int index, int* error, const char** path) const;

 private:
  static constexpr int kNone = -1;

  struct Failure {
    int error;
    std::string path;
  };

  std::vector<int> codes_;
  std::map<int, Failure> failures_;
};

}  // namespace tvl

#endif
