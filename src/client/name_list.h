#ifndef TVL_CLIENT_NAME_LIST_H
#define TVL_CLIENT_NAME_LIST_H

#include <tvlclient/cstring.h>

#include "base/fixed_text.h"

namespace tvl {

// Puts the names that match `pattern` (a folder's path, a backslash and a pattern) behind what `list` holds,
// with "|" between them, and their number into `count`. False, and `count` stays, if memory ran out.
[[nodiscard]] bool ListNames(const PathText& pattern, int* count, CString& list);

}  // namespace tvl

#endif
