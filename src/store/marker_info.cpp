#include "store/marker_info.h"

#include <utility>

#include "base/numbers.h"

namespace tvl {

MarkerInfo::MarkerInfo(std::string name) : name_(std::move(name)) {
  instance_.marker = name_.c_str();
  if (ParseMarkerName(name_.c_str(), computer_, address_, &instance_.instance, &instance_.pid, class_) == 0)
    return;
  HexToIp(dotted_, address_);
  instance_.computer = computer_;
  instance_.ipAddress = dotted_;
  instance_.className = class_;
}

}  // namespace tvl
