#ifndef TVL_SERVER_PARTS_H
#define TVL_SERVER_PARTS_H

#include <mutex>
#include <set>
#include <string>

#include "server/descriptor.h"
#include "server/status/gauge.h"
#include "server/store_root.h"

namespace tvl::server {

// What this server is writing, noted where the next one looks after a crash.
//
// A put goes into a file of its own beside its target. Its path stands in a file of notes in the temporary
// folder, which this server holds as long as it lives; whoever starts and finds such a file not held removes
// the parts that it names. Any thread may use it.
class Parts {
 public:
  // `folder`: the temporary folder. `parts` gets the number of parts; borrowed. Throws std::system_error if
  // the notes can't be made.
  Parts(const std::string& folder, Gauge& parts);
  ~Parts();
  Parts(const Parts&) = delete;
  Parts& operator=(const Parts&) = delete;

  // Removes what servers that are gone have left; the number of parts.
  int RemoveLeftovers(const StoreRoot& root) const;

  // A number for a new part's name, never the same twice.
  unsigned int NextNumber();

  // Notes a part by its path below the root. The note's number, or -1 if it could not be written.
  [[nodiscard]] int Note(const std::string& path);
  void Strike(int note);

 private:
  void Make();

  std::string folder_;
  Gauge& parts_;
  std::string path_;
  Descriptor notes_;
  std::mutex mutex_;
  std::set<int> free_;
  int used_ = 0;
  unsigned int number_ = 0;
};

}  // namespace tvl::server

#endif
