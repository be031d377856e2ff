#include "store/backup/new_place.h"

#include "platform/ini_line.h"
#include "store/layout.h"
#include "store/new_store.h"

namespace tvl {
namespace {

// The line end of `line`, which the last line of a file may lack.
std::string_view LineEndOf(std::string_view line) {
  if (line.ends_with("\r\n")) return "\r\n";
  return line.ends_with('\n') ? "\n" : "";
}

}  // namespace

std::string ConfigurationAt(const std::string& root, std::string_view contents) {
  std::string changed;
  std::size_t copied = 0;
  IniLines lines(contents);
  while (lines.Next()) {
    if (lines.IsRemark() || lines.IsSection()) continue;
    const IniKeyLine line = lines.KeyLine();
    const bool is_root = SameIniName(line.name, kDocumentRootKey);
    if (!line.has_value || (!is_root && !SameIniName(line.name, kTmpDirKey))) continue;
    changed += contents.substr(copied, lines.Begin() - copied);
    changed += std::string(line.name) + '=' + (is_root ? ConfigurationValue(root) : kDefaultTmpDir);
    changed += LineEndOf(contents.substr(lines.Begin(), lines.End() - lines.Begin()));
    copied = lines.End();
  }
  return changed += contents.substr(copied);
}

}  // namespace tvl
