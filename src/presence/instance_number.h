#ifndef TVL_PRESENCE_INSTANCE_NUMBER_H
#define TVL_PRESENCE_INSTANCE_NUMBER_H

#include <bitset>

#include "base/fixed_text.h"
#include "store/lock_row.h"

namespace tvl {

// The numbers of live instances, 0 to kMostInstances.
using LiveNumbers = std::bitset<kMostInstances + 1>;

// An instance number that an object of this process has, so that no other instance of the same identity in
// this process gets it, whatever happens to the marker file. Any thread.
class OwnNumber {
 public:
  OwnNumber() = default;
  OwnNumber(const OwnNumber&) = delete;
  OwnNumber& operator=(const OwnNumber&) = delete;
  ~OwnNumber() { Release(); }

  // Takes the number for a new instance: one below the lowest live number as long as that is above 1, else
  // one above the highest, and a free one in between where that would be above kMostInstances. `identity` is
  // what instances that are counted together have in common; `live` are numbers known from markers. 0 if
  // there is no free number.
  [[nodiscard]] int Take(const PathText& identity, LiveNumbers live);

  void Release();

 private:
  PathText identity_;
  int number_ = 0;
  OwnNumber* next_ = nullptr;
};

}  // namespace tvl

#endif
