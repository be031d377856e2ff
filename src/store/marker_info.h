#ifndef TVL_STORE_MARKER_INFO_H
#define TVL_STORE_MARKER_INFO_H

#include <string>

#include <tvlclient/store.h>

#include "store/marker_name.h"

namespace tvl {

// An instance by its marker's name, in the form that applications see. Its texts live as long as this object.
class MarkerInfo {
 public:
  explicit MarkerInfo(std::string name);
  MarkerInfo(const MarkerInfo&) = delete;
  MarkerInfo& operator=(const MarkerInfo&) = delete;

  [[nodiscard]] const TVLInstance& Instance() const { return instance_; }

 private:
  std::string name_;
  char computer_[kMarkerNameSize];
  char address_[kMarkerNameSize];
  char class_[kMarkerNameSize];
  char dotted_[33];
  TVLInstance instance_ = {};
};

}  // namespace tvl

#endif
