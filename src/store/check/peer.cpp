#include "store/check/peer.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <thread>

#include "base/stop.h"
#include "host/descriptor.h"
#include "host/system_calls.h"
#include "store/check/scratch.h"
#include "store/host_name.h"

namespace tvl {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds kForTheOther{300};  // to be started on the other computer
constexpr std::chrono::seconds kForAnAnswer{60};
constexpr std::chrono::milliseconds kPause{10};
constexpr char kCannotWrite[] = "nothing can be written";

bool IsPeerName(const std::string& name) {
  const auto good = [](unsigned char character) { return std::isalnum(character) != 0 || character == '-'; };
  return !name.empty() && name.size() <= 32 && std::all_of(name.begin(), name.end(), good);
}

// The other half may be another user's.
void OpenToEveryone(const std::string& folder) {
  const Descriptor opened(System().open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
  if (opened.IsOpen()) System().fchmod(opened.Get(), 0777);
}

}  // namespace

Peer::Peer(const std::string& folder, const std::string& name)
    : path_(InHostFolder(folder, ".tvl-doctor-peer-" + name)) {
  if (!IsPeerName(name)) {
    failure_ = {TVL_ERR_BAD_PATH,
                "the name of a test has 1 to 32 letters, digits and '-', the same on both computers",
                0,
                {}};
    return;
  }
  first_ = System().mkdir(path_.c_str(), 0777) == 0;
  if (first_) {
    OpenToEveryone(path_);
  } else if (errno != EEXIST) {
    failure_ = {TVL_ERR_CREATE_DIR, kCannotWrite, errno, folder};
  }
}

Peer::~Peer() {
  std::error_code ignored;
  if (first_) fs::remove_all(path_, ignored);
}

std::string Peer::Path(const std::string& name) const {
  return InHostFolder(path_, name + std::to_string(round_));
}

std::string Peer::MessageName(bool of_first, int number) const {
  return std::string(of_first ? "first-" : "second-") + std::to_string(number);
}

// Renamed to its name when it is complete, so half a message is never read.
void Peer::Say(const std::string& text) {
  if (failure_) return;
  const std::string path = InHostFolder(path_, MessageName(first_, said_++));
  const std::string unfinished = path + ".new";
  WriteContents(unfinished, text);
  if (System().rename(unfinished.c_str(), path.c_str()) != 0)
    failure_ = {TVL_ERR_CREATE_DIR, kCannotWrite, errno, path};
}

// By reading the folder, since a file system may remember for a while that a name did not exist. NFS 3 also
// remembers what it has read, for up to a minute, unless this computer changes the folder itself.
bool Peer::Lists(const std::string& name) const {
  const std::string change = InHostFolder(path_, MessageName(first_, 0) + ".change");
  if (System().mkdir(change.c_str(), 0777) == 0) System().rmdir(change.c_str());
  std::error_code problem;
  for (const auto& entry : fs::directory_iterator(path_, problem)) {
    if (entry.path().filename() == name) return true;
  }
  return false;
}

std::string Peer::Hear() {
  if (failure_) return {};
  const std::string name = MessageName(!first_, heard_);
  const auto end = std::chrono::steady_clock::now() + (heard_ == 0 ? kForTheOther : kForAnAnswer);
  ++heard_;
  while (!Lists(name)) {
    if (StopRequested()) {
      failure_ = {TVL_ERR_STOPPED, "interrupted", 0, {}};
    } else if (std::chrono::steady_clock::now() >= end) {
      failure_ = {TVL_ERR_NOT_CONNECTED,
                  "no answer from the other half; if none is running, remove the folder", 0, path_};
    }
    if (failure_) return {};
    std::this_thread::sleep_for(kPause);
  }
  return ContentsOf(InHostFolder(path_, name));
}

}  // namespace tvl
