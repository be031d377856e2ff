#ifndef TVL_PRESENCE_MARKER_H
#define TVL_PRESENCE_MARKER_H

#include "store/marker_name.h"

namespace tvl {

// True if the marker's owner lives. Tries to delete the marker: its owner's hold makes that fail, and a dead
// owner's marker is gone afterwards. Any other failure counts as a live owner too.
[[nodiscard]] bool IsMarkerAlive(const char* path);

// The same for the instance whose marker is in `folder`. One with a path too long to be examined counts as
// alive, since it may be shorter for its owner.
[[nodiscard]] bool IsInstanceAlive(const char* folder, const InstanceName& name);

}  // namespace tvl

#endif
