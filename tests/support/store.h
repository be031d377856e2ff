#ifndef TVL_TESTS_SUPPORT_STORE_H
#define TVL_TESTS_SUPPORT_STORE_H

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <tvlclient/smb_opr.h>

#include "store/lock_row.h"
#include "support/arg.h"
#include "table/ctree_file.h"

// A directory store below a folder, the same for every process that uses the folder. Paths that end in "Host"
// are host paths, the others have backslashes.
struct Store {
  explicit Store(const std::string& folder)
      : folder_host(folder),
        root_host(folder + "/store/"),
        procs_host(root_host + "tmp/procs/"),
        lock_table_host(root_host + "tmp/locks/dtlocks.dat"),
        config(Logical(root_host + "tvl.ini")),
        root(Logical(root_host)),
        locks(Logical(root_host + "tmp/locks/")),
        procs(Logical(procs_host)) {}

  // Creates the store with a lock table, accessible to everyone.
  void Make() const {
    std::filesystem::create_directories(procs_host);
    std::filesystem::create_directories(root_host + "tmp/locks");
    for (const std::string& open :
         {folder_host, root_host, root_host + "tmp", root_host + "tmp/locks", procs_host}) {
      std::filesystem::permissions(open, std::filesystem::perms(0777));
    }
    std::ofstream(root_host + "tvl.ini") << "[TavolisFileSystem]\nDocumentRoot=" << root_host
                                         << "\nTmpDir=" << root_host << "tmp\nZipOnTransfert=0\n";
    if (CCtreeFile::CreateFiles((locks + "dtlocks.dat").c_str(), kLockRecordLength, kLockKeyLength, 0) != 1) {
      throw std::runtime_error("no lock table");
    }
  }

  // Opens a connection that uses the files of the store in place.
  int Connect(CTVLClientSmbOpr& connection, const char* client_class = "mgrx") const {
    return connection.Open(Arg(""), Arg(config), Arg(client_class));
  }

  // Returns the names in the folder of markers, sorted.
  [[nodiscard]] std::vector<std::string> Markers() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(procs_host))
      names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

  static std::string Logical(std::string path) {
    std::replace(path.begin(), path.end(), '/', '\\');
    return path;
  }

  std::string folder_host;
  std::string root_host;
  std::string procs_host;
  std::string lock_table_host;
  std::string config;
  std::string root;
  std::string locks;
  std::string procs;
};

#endif
