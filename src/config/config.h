#ifndef TVL_CONFIG_CONFIG_H
#define TVL_CONFIG_CONFIG_H

#include "platform/host_path.h"

// One variable of the configuration.
struct ConfigEntry {
  char* name;    // owned, as the file spells it
  char* value;   // owned; after the expansion the expanded value
  int expanded;  // 1 once `Expand` has dealt with the row; -1 while it is at it
};

// The configuration of a directory store: named variables from an INI file, their `$Name` references
// expanded, and the store's folders.
//
// The fixed keys stand in the section "TavolisFileSystem", variables in "Environments" and, replacing those,
// in the section named after this computer in lower case. One object belongs to one connection and one
// thread.
class CConfig {
 public:
  // Loads `file` unless it is null or empty, and drops the result.
  explicit CConfig(const char* file = nullptr);
  // A copy has the source's settings and folders and no table: the rows belong to one object.
  CConfig(const CConfig& other);
  CConfig& operator=(const CConfig& other);
  virtual ~CConfig();

  // Reads `file` afresh and makes the store's folders, one level each. 0; 3 without a document root; 4 if
  // that is no folder; 5 without a temporary folder; 6 if that is none. A folder whose path leaves no room in
  // its field counts as none. std::bad_alloc may pass.
  int Load(const char* file);

  // Fills table and settings as `Load` does, without making or testing a folder: for programs that only show
  // a configuration. 0, 3 or 5; `status` stays 2.
  int Read(const char* file);

  // Empties the table. The folders other than `tmpDir` and the settings keep their values.
  void Clear();

  // The row of a name, in any case of letters, or null.
  ConfigEntry* Find(const char* name);

  // Gives a variable a value; a new one is put at the end. The row.
  ConfigEntry* Set(const char* name, const char* value);

  // A variable's value, or the empty text. It holds until the value changes.
  char* Get(const char* name);

  // Expands the references in a row, and first in the rows that it refers to. 1 if the value was replaced.
  int Expand(ConfigEntry* entry);

  char iniFile[tvl::kMaxPath];
  ConfigEntry* entries;
  int entryCount;
  int status;          // 2 while nothing is loaded, else what the last `Load` returned
  int zipOnTransfert;  // not 0: files travel compressed
  int fileCompare;     // 0 dumb, 1 hash, 2 time
  int sorted;          // 1 while the rows stand in the order of their names
  char tmpDir[tvl::kMaxPath];
  char locksDir[tvl::kMaxPath];
  char procsDir[tvl::kMaxPath];
  char documentRoot[tvl::kMaxPath];
  char emptyValue[2];

 private:
  int Fail(int code);
  void ReadSettings();
  void ReadVariables(const char* section);
  int ReadRoot();
  void Sort();
  int ReadTable(const char* file);
  int SettleRoot();
  int SettleTmpDir();
  void ReadNames();
};

#endif
