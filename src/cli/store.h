#ifndef TVL_CLI_STORE_H
#define TVL_CLI_STORE_H

#include <memory>
#include <string>

#include <tvlclient/client_opr.h>
#include <tvlclient/smb_opr.h>
#include <tvlclient/tcp_opr.h>

#include "cli/names.h"
#include "cli/options.h"
#include "cli/output/failure.h"
#include "cli/stall_watch.h"

namespace tvl::cli {

// The connection of a command, open from construction to destruction. The constructor throws Stop if it
// fails.
class Store {
 public:
  enum class Use {
    kWork,
    kLook  // changes nothing: creates no folder and no presence marker
  };

  Store(const Options& options, const std::string& working_directory, Use use);

  [[nodiscard]] CTVLClientOpr& Client() { return *client_; }
  [[nodiscard]] const CTVLClientOpr& Client() const { return *client_; }

  // Return the connection to a directory and the one to a server. One of them is null.
  [[nodiscard]] CTVLClientSmbOpr* Directory() { return directory_; }
  [[nodiscard]] bool IsDirectory() const { return directory_ != nullptr; }
  [[nodiscard]] CTVLClientTcpOpr* Server() { return server_; }

  // Returns the name of the store for messages.
  [[nodiscard]] const std::string& Name() const { return name_; }

  // Return whether other clients see this one, and whether they see it as the owner of the lock on an object.
  [[nodiscard]] bool IsPresent();
  [[nodiscard]] bool HoldsLock(const std::string& object);

  // Returns what a directory store consists of, as its configuration says. Paths that do not fit are empty.
  [[nodiscard]] TVLStoreLayout Layout() const;

  // Returns the configuration file; empty for a server.
  [[nodiscard]] const std::string& Configuration() const { return configuration_; }

  // Return the host path of a name. StorePath returns an empty text for a server.
  [[nodiscard]] std::string StorePath(const std::string& remote) const;
  [[nodiscard]] std::string LocalPath(const std::string& local) const;

  // Describes the failure `code` of the library for these names. The library does not report that a path is
  // too long for it, so this function finds out.
  [[nodiscard]] Failure Explain(int code, const NamePair& names, Direction direction = Direction::kGet) const;

 private:
  void OpenDirectory(const Options& options, const std::string& working_directory, Use use);
  void OpenServer(const Options& options, const std::string& working_directory, Use use);

  std::string configuration_;
  std::string name_;
  WorksWith activity_;  // must exist before the connection opens and until it is closed
  std::unique_ptr<CTVLClientOpr> client_;
  CTVLClientSmbOpr* directory_ = nullptr;
  CTVLClientTcpOpr* server_ = nullptr;
};

// Returns how a command uses the store: a dry run changes nothing.
[[nodiscard]] inline Store::Use UseOf(const Options& options) {
  return options.dry_run ? Store::Use::kLook : Store::Use::kWork;
}

}  // namespace tvl::cli

#endif
