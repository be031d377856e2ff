#ifndef TVL_PRESENCE_MARKER_H
#define TVL_PRESENCE_MARKER_H

#include "store/marker_name.h"

namespace tvl {

// Returns true if the owner of the marker is alive. Tries to delete the marker: this fails if its owner holds
// it, and removes the marker of a dead owner. Any other failure counts as a live owner too.
[[nodiscard]] bool IsMarkerAlive(const char* path);

// The same for an instance whose marker is in `folder`. An instance whose path is too long counts as alive,
// since the path may be shorter for its owner.
[[nodiscard]] bool IsInstanceAlive(const char* folder, const InstanceName& name);

}  // namespace tvl

#endif
