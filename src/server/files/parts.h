#ifndef TVL_SERVER_FILES_PARTS_H
#define TVL_SERVER_FILES_PARTS_H

#include <mutex>
#include <set>
#include <string>

#include "host/descriptor.h"
#include "host/first_number.h"
#include "server/files/store_root.h"
#include "server/metrics/gauge.h"

namespace tvl::server {

// The parts that this server is writing, recorded for the next server after a crash.
//
// A put is written to a separate file next to its target. Its path is recorded in a file of notes in the
// temporary folder, which this server holds as long as it lives. A server that starts and finds such a file
// not held removes the parts in it. Any thread may use it.
class Parts {
 public:
  // `folder`: the temporary folder. The number of parts is stored in `parts`, which is borrowed. Throws
  // std::system_error if the notes can't be made.
  Parts(const std::string& folder, Gauge& parts);
  ~Parts();
  Parts(const Parts&) = delete;
  Parts& operator=(const Parts&) = delete;

  // Removes the parts of dead servers. Returns their number.
  int RemoveLeftovers(const StoreRoot& root) const;

  // Returns a new number for the name of a part.
  unsigned int NextNumber();

  // Records a part by its path below the root. Returns the number of the note, or -1 if it could not be
  // written.
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
  unsigned int number_ = FirstNumber();
};

}  // namespace tvl::server

#endif
