#ifndef TVL_CLIENT_NAME_LIST_H
#define TVL_CLIENT_NAME_LIST_H

#include <tvlclient/cstring.h>

#include "base/fixed_text.h"

namespace tvl {

// Appends the names that match `pattern` (the path of a folder, a backslash and a pattern) to `list`,
// separated by "|", and stores their number in `count`. Returns false with an unchanged `count` if memory ran
// out.
[[nodiscard]] bool ListNames(const PathText& pattern, int* count, CString& list);

}  // namespace tvl

#endif
