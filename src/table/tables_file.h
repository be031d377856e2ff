#ifndef TVL_TABLE_TABLES_FILE_H
#define TVL_TABLE_TABLES_FILE_H

class CConfig;

namespace tvl {

// Makes the table engine obey the tables.ini next to the store's configuration, which decides whether tables
// may be in a database server, for the tables in `folder` and below it. Loads the engine.
void ObeyTablesFile(const char* configuration, const char* folder);

// The same for all tables of a store.
void ObeyTablesFile(const CConfig& config);

}  // namespace tvl

#endif
