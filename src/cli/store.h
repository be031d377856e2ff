#ifndef TVL_CLI_STORE_H
#define TVL_CLI_STORE_H

#include <memory>
#include <string>

#include <tvlclient/client_opr.h>
#include <tvlclient/smb_opr.h>
#include <tvlclient/tcp_opr.h>

#include "cli/failure.h"
#include "cli/names.h"
#include "cli/options.h"
#include "cli/stall_watch.h"

namespace tvl::cli {

// The connection that a command works on, from construction to destruction. Throws Stop if there is none to
// be had.
class Store {
 public:
  enum class Use {
    kWork,
    kLook  // changes nothing: no folder, no presence on the store
  };

  Store(const Options& options, const std::string& working_directory, Use use);

  [[nodiscard]] CTVLClientOpr& Client() { return *client_; }
  [[nodiscard]] const CTVLClientOpr& Client() const { return *client_; }

  // The connection to a directory, or the one to a server; the other is null.
  [[nodiscard]] CTVLClientSmbOpr* Directory() { return directory_; }
  [[nodiscard]] bool IsDirectory() const { return directory_ != nullptr; }
  [[nodiscard]] CTVLClientTcpOpr* Server() { return server_; }

  // What it is called in messages.
  [[nodiscard]] const std::string& Name() const { return name_; }

  // Whether other clients see this one, and whether it holds the lock on an object in their eyes.
  [[nodiscard]] bool IsPresent();
  [[nodiscard]] bool HoldsLock(const std::string& object);

  // The configuration file; empty for a server.
  [[nodiscard]] const std::string& Configuration() const { return configuration_; }

  // Value of a variable of the configuration; empty if it has none.
  [[nodiscard]] std::string Variable(const std::string& name) const;

  // Where names lie on this system. Only a directory has a StorePath; a server gives the empty text.
  [[nodiscard]] std::string StorePath(const std::string& remote) const;
  [[nodiscard]] std::string LocalPath(const std::string& local) const;

  // What is known of the library's failure `code` on these names. The library does not report paths that are
  // too long for it, so they are found here.
  [[nodiscard]] Failure Explain(int code, const NamePair& names, Direction direction = Direction::kGet) const;

 private:
  void OpenDirectory(const Options& options, const std::string& working_directory, Use use);
  void OpenServer(const Options& options, const std::string& working_directory, Use use);

  std::string configuration_;
  std::string name_;
  WorksWith activity_;  // from before the connection opens until after it is closed
  std::unique_ptr<CTVLClientOpr> client_;
  CTVLClientSmbOpr* directory_ = nullptr;
  CTVLClientTcpOpr* server_ = nullptr;
};

// A dry run changes nothing.
[[nodiscard]] inline Store::Use UseOf(const Options& options) {
  return options.dry_run ? Store::Use::kLook : Store::Use::kWork;
}

}  // namespace tvl::cli

#endif
