#include "store/file_kind.h"

#include "store/layout.h"
#include "store/part_name.h"

namespace tvl {
namespace {

struct KindOfEnding {
  std::string_view ending;
  TVL_FILE_KIND kind;
};
constexpr KindOfEnding kKinds[] = {{kMarkerExtension, TVL_FILE_MARKER},
                                   {kTableExtension, TVL_FILE_TABLE},
                                   {kJournalExtension, TVL_FILE_JOURNAL}};

}  // namespace

TVL_FILE_KIND FileKindOf(std::string_view path) {
  const std::string_view name = path.substr(path.find_last_of("/\\") + 1);  // npos + 1 is 0: the whole name
  if (IsPartName(name)) return TVL_FILE_PART;
  if (name.starts_with('.') && name.ends_with(kPartSuffix)) return TVL_FILE_NEW_INI;
  for (const KindOfEnding& row : kKinds) {
    if (name.ends_with(row.ending)) return row.kind;
  }
  return TVL_FILE_DOCUMENT;
}

}  // namespace tvl
