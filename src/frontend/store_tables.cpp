#include <algorithm>
#include <cerrno>
#include <exception>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include <tvlclient/store.h>

#include "base/fixed_text.h"
#include "platform/names.h"
#include "store/data_files.h"
#include "store/new_store.h"
#include "table/engine_binding.h"
#include "table/tables_file.h"

namespace {

int CodeOf(int done) {
  return done == 1 ? TVL_OK : TVL_ERR_SERVER_FILE;
}

// Loads the engine, which from now on obeys the store's tables.ini.
void Obey(const TVLStoreLayout& layout) {
  for (const char* folder : {layout.root, layout.locks}) tvl::ObeyTablesFile(layout.configuration, folder);
}

// Runs `action` while the engine is in use for the store.
template <typename Action>
int InStore(const TVLStoreLayout& layout, Action action) {
  const tvl::TableEngineUse engine;
  Obey(layout);
  return action();
}

// A row of a listing, with the texts that the callback gets.
struct ListedTable {
  std::string id;
  std::string path;
  TVLDatabaseTable row = {};
};

using ListedTables = std::vector<ListedTable>;

extern "C" void AddTable(const TVLDatabaseTable* table, void* tables) {
  static_cast<ListedTables*>(tables)->push_back({table->id, {}, *table});
}

// Describes a data file with this id, whose row the server may have.
ListedTable Describe(const tvl::DataFile& file, const std::string& id, const ListedTables& known) {
  const auto found =
      std::find_if(known.begin(), known.end(), [&id](const ListedTable& table) { return table.id == id; });
  if (found == known.end()) return {id, file.path, {nullptr, nullptr, TVL_TABLE_ROWS_MISSING, 0, -1, -1}};
  ListedTable table = {id, file.path, found->row};
  if (table.row.state == TVL_TABLE_ORPHAN)
    table.row.state = file.inode == table.row.inode ? TVL_TABLE_COMPLETE : TVL_TABLE_COPIED;
  return table;
}

// Adds the tables of the data files that point to the server. Returns the path of a data file that cannot be
// read, or an empty text.
std::string AddPointers(const std::vector<tvl::DataFile>& files, const ListedTables& known,
                        ListedTables& tables) {
  for (const tvl::DataFile& file : files) {
    char id[tvl::engine::kTableIdSize] = {};
    const int is_pointer = tvl::engine::GetTableId(file.path.c_str(), id);
    if (is_pointer < 0) return file.path;
    if (is_pointer == 1) tables.push_back(Describe(file, id, known));
  }
  return {};
}

// Adds the tables to which no data file points. Returns their ids, separated by commas.
std::string AddOrphans(const ListedTables& known, ListedTables& tables) {
  std::string ids;
  const std::size_t pointers = tables.size();
  for (const ListedTable& table : known) {
    const auto end = tables.begin() + static_cast<std::ptrdiff_t>(pointers);
    const bool has_file =
        std::any_of(tables.begin(), end, [&table](const ListedTable& other) { return other.id == table.id; });
    if (has_file) continue;
    tables.push_back(table);
    tables.back().row.state = TVL_TABLE_ORPHAN;
    ids += table.id + ',';
  }
  return ids;
}

int Fail(const char* what, const std::string& path, int error, TVLStoreProblem* problem) {
  if (problem == nullptr) return TVL_ERR_SERVER_FILE;
  problem->what = what;
  problem->error = error;
  tvl::CopyCut(problem->path, path);
  return TVL_ERR_SERVER_FILE;
}

bool HasTablesFile(const TVLStoreLayout& layout) {
  std::error_code ignored;
  return std::filesystem::exists(tvl::TablesFileOf(layout), ignored);
}

int ListTables(const TVLStoreLayout& layout, bool notesOrphans, ListedTables& tables,
               TVLStoreProblem* problem) {
  constexpr char unusable[] = "the tables in PostgreSQL cannot be listed";
  ListedTables known;
  if (tvl::engine::ListDatabaseTables(layout.locks, AddTable, &known) != 1)
    return Fail(unusable, {}, 0, problem);
  // Only now, because a table that is created meanwhile has rows first and then a data file.
  const std::vector<tvl::DataFile> files = tvl::FindDataFiles({layout.root, layout.tmp, layout.locks});
  if (const std::string unread = AddPointers(files, known, tables); !unread.empty())
    return Fail("a data file cannot be read", unread, 0, problem);
  const std::string orphans = AddOrphans(known, tables);
  if (notesOrphans && tvl::engine::NoteOrphans(layout.locks, orphans.c_str()) != 1)
    return Fail(unusable, {}, 0, problem);
  return TVL_OK;
}

}  // namespace

int TVLStoreMoveTable(const TVLStoreLayout* layout, const char* table, TVL_TABLE_PLACE place) {
  return InStore(*layout, [=] { return CodeOf(tvl::engine::MoveTable(table, place)); });
}

int TVLStoreAdoptTable(const TVLStoreLayout* layout, const char* table) {
  return InStore(*layout, [=] { return CodeOf(tvl::engine::AdoptTable(table)); });
}

int TVLStoreForkTable(const TVLStoreLayout* layout, const char* table) {
  return InStore(*layout, [=] { return CodeOf(tvl::engine::ForkTable(table)); });
}

int TVLStoreDatabase(const TVLStoreLayout* layout, TVLDatabase* database) {
  *database = {};
  return InStore(*layout, [=] {
    return HasTablesFile(*layout) ? CodeOf(tvl::engine::GetDatabase(layout->locks, database))
                                  : TVL_ERR_NOT_SUPPORTED;
  });
}

int TVLStoreListDatabaseTables(const TVLStoreLayout* layout, int notesOrphans,
                               TVLDatabaseTableCallback callback, void* userData,
                               TVLStoreProblem* problem) try {
  if (!HasTablesFile(*layout)) return TVL_ERR_NOT_SUPPORTED;
  ListedTables tables;
  const int code = InStore(*layout, [&] { return ListTables(*layout, notesOrphans != 0, tables, problem); });
  if (code != TVL_OK || callback == nullptr) return code;
  for (ListedTable& table : tables) {
    table.row.id = table.id.c_str();
    table.row.path = table.path.empty() ? nullptr : table.path.c_str();
    callback(&table.row, userData);
  }
  return TVL_OK;
} catch (const std::filesystem::filesystem_error& error) {
  return Fail("a folder of the store cannot be read", error.path1().string(), error.code().value(), problem);
} catch (const std::exception&) {
  return Fail("memory ran out", {}, ENOMEM, problem);
}

int TVLStoreDropOrphan(const TVLStoreLayout* layout, const char* id, unsigned int seconds) {
  return InStore(*layout, [=] { return CodeOf(tvl::engine::DropOrphan(layout->locks, id, seconds)); });
}

int TVLIsTablePointer(const char* path) {
  const tvl::TableEngineUse engine;
  LoadTableEngine();
  char id[tvl::engine::kTableIdSize];
  return tvl::engine::GetTableId(path, id) == 1 ? 1 : 0;
}
