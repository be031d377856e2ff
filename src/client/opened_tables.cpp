#include "client/opened_tables.h"

#include <algorithm>

#include <tvlclient/client_opr.h>

#include "base/memory.h"
#include "base/text.h"

// The registry of open tables: one entry per table, in the order of their first opening.

namespace {

template <typename Matches>
int FindEntry(const CtOpenedFile* entries, int count, Matches matches) {
  const CtOpenedFile* end = entries + count;
  const CtOpenedFile* found = std::find_if(entries, end, matches);
  return found == end ? -1 : static_cast<int>(found - entries);
}

}  // namespace

int CTVLClientOpr::FindCtOpenedFile(const char* path) const {
  return FindEntry(ctOpenedFiles, ctOpenedCount,
                   [&](const CtOpenedFile& entry) { return tvl::EqualNoCase(entry.path, path); });
}

int CTVLClientOpr::FindCtOpenedFile(int handle) const {
  return FindEntry(ctOpenedFiles, ctOpenedCount,
                   [&](const CtOpenedFile& entry) { return entry.handle == handle; });
}

int CTVLClientOpr::PushCtOpenedFile(const char* /*path*/) {
  ctOpenedFiles = static_cast<CtOpenedFile*>(ResizeArray(
      ctOpenedFiles, static_cast<unsigned int>(ctOpenedCount), ctOpenedCount + 1, sizeof(CtOpenedFile)));
  return ctOpenedCount++;
}

void CTVLClientOpr::PopCtOpenedFile(int index) {
  if (ctOpenedCount < 2) {
    FreeCtOpenedFiles();
    return;
  }
  // Moving the rest down needs no memory, so closing a table cannot fail.
  std::move(ctOpenedFiles + index + 1, ctOpenedFiles + ctOpenedCount, ctOpenedFiles + index);
  --ctOpenedCount;
}

void CTVLClientOpr::FreeCtOpenedFiles() {
  ctOpenedFiles = static_cast<CtOpenedFile*>(SafeFree(ctOpenedFiles));
  ctOpenedCount = 0;
}
