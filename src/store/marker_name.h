#ifndef TVL_STORE_MARKER_NAME_H
#define TVL_STORE_MARKER_NAME_H

#include "base/fixed_text.h"

namespace tvl {

// The identity of an instance, all of which is in the name of its marker.
struct InstanceName {
  const char* computer;
  const char* ip;  // 8 hexadecimal digits
  int instance;
  unsigned int pid;
  const char* client_class;  // 4 characters

  // Returns true if a marker with this name would be in another folder.
  [[nodiscard]] bool HasSeparator() const;
};

// Returns the full path of an instance's marker in `folder`. Returns a text that does not fit if the path is
// too long, or if the name contains a separator and so cannot be that of a marker.
[[nodiscard]] PathText MarkerPath(const char* folder, const InstanceName& name);

// Return the search patterns for the markers of a class in `folder`, and for those of a computer with an
// address.
[[nodiscard]] PathText MarkerPattern(const char* folder, const char* client_class);
[[nodiscard]] PathText MarkerPattern(const char* folder, const char* computer, const char* ip,
                                     const char* client_class);

}  // namespace tvl

constexpr unsigned int kMarkerNameSize = 128;

// Parses a marker's file name from its right end, since a computer's name may contain hyphens. `computer`,
// `ip` and `className` are buffers of kMarkerNameSize bytes; each output may be null. Returns 1 if the name
// has the form computer-address-number.process.class.tvp, else 0 with unchanged outputs.
int ParseMarkerName(const char* name, char* computer, char* ip, int* instance, int* pid, char* className);

#endif
