#ifndef TVL_PRESENCE_MARKER_H
#define TVL_PRESENCE_MARKER_H

#include "base/fixed_text.h"

namespace tvl {

// Who an instance is; the name of its marker contains all of it.
struct InstanceName {
  const char* computer;
  const char* ip;  // 8 hexadecimal digits
  int instance;
  unsigned int pid;
  const char* client_class;  // 4 characters
};

// Full path of an instance's marker in `folder`. A text that does not fit if the path is too long or the name
// contains a separator, and so is not that of a marker.
[[nodiscard]] PathText MarkerPath(const char* folder, const InstanceName& name);

// True if the marker's owner lives. Tries to delete the marker: its owner's hold makes that fail, and a dead
// owner's marker is gone afterwards. Any other failure counts as a live owner too.
[[nodiscard]] bool IsMarkerAlive(const char* path);

// The same for the instance whose marker is in `folder`. One with a path too long to be examined counts as
// alive, since it may be shorter for its owner.
[[nodiscard]] bool IsInstanceAlive(const char* folder, const InstanceName& name);

}  // namespace tvl

constexpr unsigned int kMarkerNameRoom = 128;

// Parses a marker's file name from its right end, since a computer's name may contain hyphens. `computer`,
// `ip` and `className` are buffers of kMarkerNameRoom bytes; each output may be null. 1 if the name has the
// form computer-address-number.process.class.tvp, else 0 and the outputs are unchanged.
int ParseMarkerName(const char* name, char* computer, char* ip, int* instance, int* pid, char* className);

#endif
