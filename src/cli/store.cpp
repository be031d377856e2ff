#include "cli/store.h"

#include <array>
#include <cerrno>
#include <cstring>

#include <tvlclient/errors.h>
#include <tvlclient/tvl.h>

#include "cli/configuration.h"
#include "cli/host_path.h"
#include "cli/output/text.h"
#include "cli/server_address.h"

namespace tvl::cli {
namespace {

constexpr std::size_t kPathSize = 260;
constexpr unsigned int kTransferWindow = 8;

// The working directory in a buffer that the library may modify.
class PathBuffer {
 public:
  explicit PathBuffer(const std::string& path) {
    if (path.size() >= text_.size())
      throw Stop({}, {kFailed, 0, "the path of the working directory is longer than 259 bytes", 0, path});
    if (path.find('\\') != std::string::npos)
      throw Stop({}, {kFailed, 0, "the working directory has a backslash in its path", 0, path});
    std::memcpy(text_.data(), path.c_str(), path.size() + 1);
  }
  [[nodiscard]] char* Text() { return text_.data(); }

 private:
  std::array<char, kPathSize> text_ = {};
};

}  // namespace

Store::Store(const Options& options, const std::string& working_directory, Use use)
    : configuration_(options.tcp.empty() ? FindConfiguration(options) : ""),
      name_(options.tcp.empty() ? "the store of " + configuration_ : "server " + options.tcp),
      activity_(name_) {
  const WaitsFor waits(name_);
  if (options.tcp.empty()) {
    OpenDirectory(options, working_directory, use);
  } else {
    OpenServer(options, working_directory, use);
  }
  ForgetFileErrors();  // errors while connecting do not explain later failures
}

void Store::OpenDirectory(const Options& options, const std::string& working_directory, Use use) {
  auto connection = std::make_unique<CTVLClientSmbOpr>();
  directory_ = connection.get();
  client_ = std::move(connection);
  PathBuffer folder(working_directory);
  std::string class_name = options.class_name;
  ForgetFileErrors();
  const int code = use == Use::kLook ? directory_->Preview(folder.Text(), configuration_.c_str())
                                     : client_->Open(folder.Text(), configuration_.data(), class_name.data());
  if (code != TVL_OK) throw Stop(configuration_, ConfigurationFailure(code));
}

void Store::OpenServer(const Options& options, const std::string& working_directory, Use use) {
  if (use == Use::kLook)
    throw Stop(options.tcp, {kFailed, TVL_ERR_NOT_SUPPORTED, "a dry run is not available over --tcp", 0, {}});
  ServerAddress server = ParseServer(options.tcp);
  auto connection = std::make_unique<CTVLClientTcpOpr>();
  server_ = connection.get();
  client_ = std::move(connection);
  TVLSetTimeout(static_cast<unsigned int>(options.timeout.value_or(0)));
  TVLSetTransferWindow(kTransferWindow);
  PathBuffer folder(working_directory);
  std::string class_name = options.class_name;
  std::string tag = FindTag(options);
  std::string no_file;
  ForgetFileErrors();
  const int code = client_->Open(folder.Text(), no_file.data(), server.host.data(), server.port,
                                 class_name.data(), tag.data());
  if (code == TVL_OK) return;
  Failure failure = LibraryFailure(code);
  failure.exit = kUnreachable;
  ExplainRefusal(server_->Refusal(), failure);
  throw Stop(options.tcp, failure);
}

bool Store::IsPresent() {
  return (directory_ != nullptr ? directory_->IsPresent() : server_->IsPresent()) != 0;
}

bool Store::HoldsLock(const std::string& object) {
  return (directory_ != nullptr ? directory_->HoldsLock(object.c_str())
                                : server_->HoldsLock(object.c_str())) != 0;
}

TVLStoreLayout Store::Layout() const {
  TVLStoreLayout layout = {};
  if (directory_ != nullptr) directory_->StoreLayout(&layout);
  return layout;
}

std::string Store::StorePath(const std::string& remote) const {
  if (directory_ == nullptr) return {};
  return Joined(Slashed(directory_->ServerRoot()), remote);
}

std::string Store::LocalPath(const std::string& local) const {
  // If the working directory is a root, local names are already absolute.
  const std::string folder = Slashed(client_->WorkingDirectory());
  return local.starts_with('/') ? DriveOf(folder) + local : Joined(folder, local);
}

Failure Store::Explain(int code, const NamePair& names, Direction direction) const {
  Failure failure = LibraryFailure(code);
  if (server_ != nullptr && server_->Refusal() != nullptr) {
    // A put creates missing folders, so a missing name cannot be the reason.
    if (direction == Direction::kPut && failure.exit == kNotFound) failure.exit = kFailed;
    ExplainRefusal(server_->Refusal(), failure);
    return failure;
  }
  for (const std::string& path : {StorePath(names.remote), LocalPath(names.local)}) {
    if (path.size() < kPathSize) continue;
    failure = {kFailed, code, failure.what, ENAMETOOLONG, path};
    failure.what += ": the path is longer than 259 bytes";
    break;
  }
  return failure;
}

}  // namespace tvl::cli
