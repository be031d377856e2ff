#ifndef TVL_BASE_PATH_HELPERS_H
#define TVL_BASE_PATH_HELPERS_H

#include <cstddef>

#include "base/fixed_text.h"

// Helpers for paths. Buffers that are modified in place have tvl::kMaxPath bytes.

// Appends a backslash unless the last character is one; an empty text becomes one backslash. Returns 1, or 0
// with an unchanged text if it does not fit.
int AddTrailingBackslash(char* path);

// Returns the part of the text after the last backslash, or after the last `/` if there is no backslash, or
// null if there is neither.
char* LastPathComponent(const char* path);

// Replaces every `/` by a backslash, in place. Returns the same pointer.
char* NormalizeSlashes(char* path);

// Converts `path`, a name relative to the folder `base`, to the full path, in place, and creates missing
// folders. The last component is the name of a file. A folder that cannot be created is not reported. Returns
// the same pointer, or null if the full path does not fit; then `path` is empty and no folder was created.
char* BuildPath(const char* base, char* path);

namespace tvl {

// Appends `name` to `base` and converts its slashes. Check `Fits` of the result.
[[nodiscard]] PathText JoinPath(const char* base, const char* name);

// Like BuildPath, without changing `name`. Check `Fits` of the result.
[[nodiscard]] PathText BuildFullPath(const char* base, const char* name);

}  // namespace tvl

#endif
