#ifndef TVL_PRESENCE_INSTANCE_NUMBER_H
#define TVL_PRESENCE_INSTANCE_NUMBER_H

#include <bitset>

#include "base/fixed_text.h"
#include "store/lock_row.h"

namespace tvl {

// The numbers of live instances, 0 to kMostInstances.
using LiveNumbers = std::bitset<kMostInstances + 1>;

// Reserves an instance number for an object, so that no other instance of the same identity in this process
// gets it, regardless of the marker file. Safe to use from any thread.
class OwnNumber {
 public:
  OwnNumber() = default;
  OwnNumber(const OwnNumber&) = delete;
  OwnNumber& operator=(const OwnNumber&) = delete;
  ~OwnNumber() { Release(); }

  // Reserves and returns a number for a new instance: the one below the lowest live number if that is above
  // 1, else the one above the highest, or a free one in between if that would exceed kMostInstances.
  // `identity` is common to all instances that are numbered together; `live` contains the numbers known from
  // markers. Returns 0 if there is no free number.
  [[nodiscard]] int Take(const PathText& identity, LiveNumbers live);

  void Release();

 private:
  PathText identity_;
  int number_ = 0;
  OwnNumber* next_ = nullptr;
};

}  // namespace tvl

#endif
