#ifndef TVL_STORE_LAYOUT_H
#define TVL_STORE_LAYOUT_H

#include <cstddef>
#include <string_view>

// The names of the parts of a store. All clients of a store must agree on them.
//
//     tvl.ini                    the configuration: which folder is the root, and which the temporary folder
//     tvl.ini.lock               locked by those who change the configuration
//     tables.ini                 permits tables in a database server
//     tmp/locks/dtlocks.dat      the lock table
//     tmp/procs/*.tvp            the markers of live instances

namespace tvl {

// The longest path that the library can use.
constexpr std::size_t kLongestPath = 259;

// The name of the configuration in a store that `tvl init` creates. Any other name is possible.
constexpr char kConfigurationName[] = "tvl.ini";
constexpr char kConfigurationLockSuffix[] = ".lock";
constexpr char kTablesFileName[] = "tables.ini";

// The folders, unless the configuration sets another temporary folder.
constexpr char kTmpName[] = "tmp";
constexpr char kLocksName[] = "locks";
constexpr char kProcsName[] = "procs";

constexpr char kLockTableName[] = "dtlocks.dat";
constexpr char kTableExtension[] = ".dat";
constexpr char kJournalExtension[] = ".dat-journal";  // of a table with an unfinished transaction

constexpr char kMarkerExtension[] = ".tvp";
// A marker's name contains a computer of 32 bytes, an address of 8, a number of 4, a process id of 8 and a
// class of 4 at most.
constexpr std::size_t kLongestMarkerName =
    32 + 1 + 8 + 1 + 4 + 1 + 8 + 1 + 4 + std::string_view(kMarkerExtension).size();

// Sections and keys of the configuration.
constexpr char kMainSection[] = "TavolisFileSystem";
constexpr char kVariablesSection[] = "Environments";
constexpr char kDocumentRootKey[] = "DocumentRoot";
constexpr char kTmpDirKey[] = "TmpDir";
constexpr char kDefaultTmpDir[] = "$DocumentRoot/tmp";
constexpr char kZipKey[] = "ZipOnTransfert";
constexpr char kSafetyKey[] = "SafeOnTransfert";
constexpr char kCompareKey[] = "FileCompare";

}  // namespace tvl

#endif
