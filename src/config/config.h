#ifndef TVL_CONFIG_CONFIG_H
#define TVL_CONFIG_CONFIG_H

#include "platform/host_path.h"

namespace tvl {
class IniFile;
}

// One variable of the configuration.
struct ConfigEntry {
  char* name;    // owned, as the file spells it
  char* value;   // owned; after the expansion the expanded value
  int expanded;  // 1 once the row has been expanded; -1 while its expansion is in progress
};

// The configuration of a directory store: named variables from an INI file, their `$Name` references
// expanded, and the store's folders.
//
// The section "TavolisFileSystem" contains the fixed keys, "Environments" the variables, and the section
// named after this computer in lower case variables that replace those. One object belongs to one connection
// and one thread.
class CConfig {
 public:
  // Loads `file` unless it is null or empty, and drops the result.
  explicit CConfig(const char* file = nullptr);
  // A copy has the source's settings and folders and no table: the rows belong to one object.
  CConfig(const CConfig& other);
  CConfig& operator=(const CConfig& other);
  virtual ~CConfig();

  // Reads `file`, once, and creates the store's folders, one level each; those below the document root get
  // the rights of the folder above, whatever the umask. Returns 0; 3 without a document root, or if the file
  // cannot be read; 4 if the root is not a folder; 5 without a temporary folder; 6 if that is not a folder. A
  // path that does not fit its field does not count as a folder. May throw std::bad_alloc.
  int Load(const char* file);

  // Fills table and settings as `Load` does, without creating or testing a folder: for programs that only
  // show a configuration. Returns 0, 3, 5 or 6; `status` stays 2.
  int Read(const char* file);

  // Empties the table. The folders other than `tmpDir` and the settings keep their values.
  void Clear();

  // The row of a name, in any case of letters, or null.
  ConfigEntry* Find(const char* name);

  // Sets a variable, which is appended if it is new, and returns its row.
  ConfigEntry* Set(const char* name, const char* value);

  // Returns a variable's value, or the empty text. It is valid until the value changes.
  char* Get(const char* name);

  // Expands the references in a row, after those in the rows that it refers to. Returns 1 if the value was
  // replaced. A chain of references of any length needs no more stack than one reference.
  int Expand(ConfigEntry* entry);

  char iniFile[tvl::kMaxPath];
  ConfigEntry* entries;
  int entryCount;
  int status;          // 2 while nothing is loaded, else what the last `Load` returned
  int zipOnTransfert;  // not 0: files travel compressed
  int fileCompare;     // 0 dumb, 1 hash, 2 time
  int sorted;          // 1 while the rows are sorted by name
  char tmpDir[tvl::kMaxPath];
  char locksDir[tvl::kMaxPath];
  char procsDir[tvl::kMaxPath];
  char documentRoot[tvl::kMaxPath];
  char emptyValue[2];
  int safeOnTransfert;  // 0 in place, 1 whole, 2 whole and synced; ours alone, after the fields that count

 private:
  int Fail(int code);
  void ReadSettings(const tvl::IniFile& file);
  void ReadVariables(const tvl::IniFile& file, const char* section);
  int ReadRoot(const tvl::IniFile& file);
  void Sort();
  int ReadTable(const char* path, tvl::IniFile& file);
  int SettleRoot();
  int SettleTmpDir();
  bool NameSubFolders();
  void ReadNames(const tvl::IniFile& file);
};

#endif
