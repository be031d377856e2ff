#ifndef TVL_PRESENCE_MARKER_H
#define TVL_PRESENCE_MARKER_H

#include "base/fixed_text.h"

namespace tvl {

// Who an instance is; its marker's name says all of it.
struct InstanceName {
  const char* computer;
  const char* ip;  // 8 hexadecimal digits
  int instance;
  unsigned int pid;
  const char* client_class;  // 4 characters
};

// Full path of an instance's marker in `folder`. A name that holds a separator names no marker: the text then
// doesn't fit.
[[nodiscard]] PathText MarkerPath(const char* folder, const InstanceName& name);

// True if the marker's owner lives. Asked by trying to delete it: its owner's hold makes that fail, and a
// dead owner's marker is gone afterwards. Any other failure counts as a live owner too.
[[nodiscard]] bool IsMarkerAlive(const char* path);

}  // namespace tvl

constexpr unsigned int kMarkerNameRoom = 128;

// Takes a marker's file name apart from its right end, since a computer's name may hold hyphens. `computer`,
// `ip` and `className` have room for kMarkerNameRoom bytes; each output may be null. 1 if the name fits the
// form computer-address-number.process.class.tvp, else 0 and the outputs stay.
int ParseMarkerName(const char* name, char* computer, char* ip, int* instance, int* pid, char* className);

#endif
