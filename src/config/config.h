#ifndef TVL_CONFIG_CONFIG_H
#define TVL_CONFIG_CONFIG_H

#include <functional>
#include <string_view>

#include <tvlclient/smb_opr.h>

#include "platform/host_path.h"

namespace tvl {
class IniFile;
}

// One variable of the configuration.
struct ConfigEntry {
  char* name;    // owned, as the file spells it
  char* value;   // owned; expanded after the expansion
  int expanded;  // 1 once the row has been expanded; -1 while its expansion is in progress
  const char*
      origin;  // the section that it was read from, static or of the configuration; null for a default
};

// The configuration of a directory store: variables from an INI file with expanded `$Name` references, and
// the folders of the store.
//
// The section "TavolisFileSystem" contains the fixed keys, "Environments" the variables, and the section with
// the lower-case name of this computer variables that override those. One object belongs to one connection
// and one thread.
class CConfig {
 public:
  // Loads `file` unless it is null or empty, and ignores the result.
  explicit CConfig(const char* file = nullptr);
  // A copy gets the settings and folders of the source, but no rows, which belong to one object.
  CConfig(const CConfig& other);
  CConfig& operator=(const CConfig& other);
  virtual ~CConfig();

  // Reads `file` once and creates the folders of the store, one level each. Those below the document root get
  // the permissions of their parent, regardless of the umask. Returns TVL_OK, TVL_ERR_ROOT_UNDEFINED if there
  // is no document root or the file cannot be read, TVL_ERR_ROOT_INVALID if the root is not a folder,
  // TVL_ERR_TMP_UNDEFINED if there is no temporary folder, or TVL_ERR_TMP_INVALID if that is not a folder. A
  // path that does not fit its field does not count as a folder. May throw std::bad_alloc.
  int Load(const char* file);

  // Reads rows and settings like `Load`, but neither creates nor checks folders, for programs that only show
  // a configuration. Returns TVL_OK, TVL_ERR_ROOT_UNDEFINED, TVL_ERR_TMP_UNDEFINED or TVL_ERR_TMP_INVALID;
  // `status` remains 2.
  int Read(const char* file);

  using ProblemVisitor = std::function<void(TVL_CONFIG_PROBLEM problem, const char* key, const char* text)>;

  // The same, and calls `visit` for keys, values and references that have no effect.
  int Check(const char* file, const ProblemVisitor& visit);

  // Removes all rows. The settings and the folders other than `tmpDir` keep their values.
  void Clear();

  // Returns the row of a name, regardless of case, or null.
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
  int zipOnTransfert;  // nonzero if transfers are compressed
  int fileCompare;     // 0 dumb, 1 hash, 2 time
  int sorted;          // 1 while the rows are sorted by name
  char tmpDir[tvl::kMaxPath];
  char locksDir[tvl::kMaxPath];
  char procsDir[tvl::kMaxPath];
  char documentRoot[tvl::kMaxPath];
  char emptyValue[2];
  int safe_on_transfert;  // 0 in place, 1 whole files, 2 whole files, synced; an addition, so it comes last

 private:
  int Fail(int code);
  void ReadSettings(const tvl::IniFile& file);
  void ReadVariables(const tvl::IniFile& file, const char* section);
  int ReadRoot(const tvl::IniFile& file);
  void SetFromMain(const tvl::IniFile& file, const char* key, const char* otherwise);
  void Sort();
  int ReadTable(const char* path, tvl::IniFile& file);
  int SettleRoot();
  int SettleTmpDir();
  bool NameSubFolders();
  void ReadNames(const tvl::IniFile& file);
  void Report(TVL_CONFIG_PROBLEM problem, const char* key, std::string_view text) const;

  char computer_[16];          // name of the computer's section
  ProblemVisitor on_problem_;  // empty except during a check
};

#endif
