#ifndef TVL_STORE_MARKER_NAME_H
#define TVL_STORE_MARKER_NAME_H

#include "base/fixed_text.h"

namespace tvl {

// Who an instance is; the name of its marker contains all of it.
struct InstanceName {
  const char* computer;
  const char* ip;  // 8 hexadecimal digits
  int instance;
  unsigned int pid;
  const char* client_class;  // 4 characters

  // True if a marker of this name would be in another folder.
  [[nodiscard]] bool HasSeparator() const;
};

// Full path of an instance's marker in `folder`. A text that does not fit if the path is too long or the name
// contains a separator, and so is not that of a marker.
[[nodiscard]] PathText MarkerPath(const char* folder, const InstanceName& name);

// Patterns of a search for the markers of a class in `folder`, and for those of a computer at an address
// among them.
[[nodiscard]] PathText MarkerPattern(const char* folder, const char* client_class);
[[nodiscard]] PathText MarkerPattern(const char* folder, const char* computer, const char* ip,
                                     const char* client_class);

}  // namespace tvl

constexpr unsigned int kMarkerNameRoom = 128;

// Parses a marker's file name from its right end, since a computer's name may contain hyphens. `computer`,
// `ip` and `className` are buffers of kMarkerNameRoom bytes; each output may be null. Returns 1 if the name
// has the form computer-address-number.process.class.tvp, else 0 and the outputs are unchanged.
int ParseMarkerName(const char* name, char* computer, char* ip, int* instance, int* pid, char* className);

#endif
