#ifndef TVL_BASE_PATH_HELPERS_H
#define TVL_BASE_PATH_HELPERS_H

#include <cstddef>

#include "base/fixed_text.h"

// Texts of paths. Buffers that change in place hold tvl::kMaxPath bytes.

// Appends a backslash unless the last character is one; the empty text becomes one backslash. 1, or 0 if
// there is no room and the text stays.
int AddTrailingBackslash(char* path);

// What stands behind the last backslash, in the same text; without one, behind the last `/`; with neither,
// null.
char* LastPathComponent(const char* path);

// Turns every `/` into a backslash, in place. The same pointer.
char* NormalizeSlashes(char* path);

// Makes of `path`, a name relative to the directory `base`, the full path, in place, and makes the folders on
// the way; a folder that can't be made is not reported. The last component is taken for a file. The same
// pointer, or null if the full path doesn't fit: `path` is empty then and no folder was made.
char* BuildPath(const char* base, char* path);

namespace tvl {

// `base` with `name` behind it, its slashes turned. `Fits` of the result tells whether there was room.
[[nodiscard]] PathText JoinPath(const char* base, const char* name);

// As BuildPath, leaving `name` alone. `Fits` of the result tells whether there was room.
[[nodiscard]] PathText BuildFullPath(const char* base, const char* name);

}  // namespace tvl

#endif
