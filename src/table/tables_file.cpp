#include "table/tables_file.h"

#include <string_view>

#include "base/fixed_text.h"
#include "config/config.h"
#include "store/layout.h"
#include "table/engine_binding.h"

namespace tvl {

void ObeyTablesFile(const char* configuration, const char* folder) {
  const std::string_view path = configuration;
  PathText file;
  file.Append(path.substr(0, path.find_last_of("\\/") + 1)).Append(kTablesFileName);
  LoadTableEngine();
  if (file.Fits()) engine::PermitTables(folder, file.Text());
}

void ObeyTablesFile(const CConfig& config) {
  for (const char* folder : {config.documentRoot, config.locksDir}) ObeyTablesFile(config.iniFile, folder);
}

}  // namespace tvl
