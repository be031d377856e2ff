#include "client/name_list.h"

#include "base/folder_walk.h"

bool tvl::ListNames(const PathText& pattern, int* count, CString& list) {
  int names = 0;
  const bool whole = VisitFolder(pattern, [&](const WIN32_FIND_DATAA& found) {
    if (names > 0 && list.AppendChar('|') == 0) return false;
    ++names;
    return list.Append(found.cFileName) != 0;
  });
  if (whole) *count = names;
  return whole;
}
