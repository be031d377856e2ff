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
      : folderHost(folder),
        rootHost(folder + "/store/"),
        procsHost(rootHost + "tmp/procs/"),
        lockTableHost(rootHost + "tmp/locks/dtlocks.dat"),
        config(Logical(rootHost + "tvl.ini")),
        root(Logical(rootHost)),
        locks(Logical(rootHost + "tmp/locks/")),
        procs(Logical(procsHost)) {}

  // Creates the store with a lock table, accessible to everyone.
  void Make() const {
    std::filesystem::create_directories(procsHost);
    std::filesystem::create_directories(rootHost + "tmp/locks");
    for (const std::string& open :
         {folderHost, rootHost, rootHost + "tmp", rootHost + "tmp/locks", procsHost}) {
      std::filesystem::permissions(open, std::filesystem::perms(0777));
    }
    std::ofstream(rootHost + "tvl.ini") << "[TavolisFileSystem]\nDocumentRoot=" << rootHost
                                        << "\nTmpDir=" << rootHost << "tmp\nZipOnTransfert=0\n";
    if (CCtreeFile::CreateFiles((locks + "dtlocks.dat").c_str(), kLockRecordLength, kLockKeyLength, 0) != 1) {
      throw std::runtime_error("no lock table");
    }
  }

  // Opens a connection that uses the files of the store in place.
  int Connect(CTVLClientSmbOpr& connection, const char* clientClass = "mgrx") const {
    return connection.Open(Arg(""), Arg(config), Arg(clientClass));
  }

  // Returns the names in the folder of markers, sorted.
  [[nodiscard]] std::vector<std::string> Markers() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(procsHost))
      names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

  static std::string Logical(std::string path) {
    std::replace(path.begin(), path.end(), '/', '\\');
    return path;
  }

  std::string folderHost;
  std::string rootHost;
  std::string procsHost;
  std::string lockTableHost;
  std::string config;
  std::string root;
  std::string locks;
  std::string procs;
};

#endif
