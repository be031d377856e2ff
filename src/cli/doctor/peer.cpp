#include "cli/doctor/peer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>

#include "cli/doctor/scratch.h"
#include "cli/failure.h"
#include "cli/text.h"

namespace tvl::cli {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds kForTheOther{300};  // to be started on the other computer
constexpr std::chrono::seconds kForAnAnswer{60};
constexpr std::chrono::milliseconds kPause{10};

void CheckName(const std::string& name) {
  const auto good = [](unsigned char character) { return std::isalnum(character) != 0 || character == '-'; };
  if (name.empty() || name.size() > 32 || !std::all_of(name.begin(), name.end(), good))
    throw Stop("--peer needs a name of at most 32 letters, digits and '-', the same on both computers");
}

}  // namespace

Peer::Peer(const std::string& folder, const std::string& name)
    : path_(Joined(folder, ".tvl-doctor-peer-" + name)) {
  CheckName(name);
  first_ = mkdir(path_.c_str(), 0777) == 0;
  if (!first_ && errno != EEXIST) throw Stop({}, {kFailed, 0, "nothing can be written", errno, folder});
  if (first_) chmod(path_.c_str(), 0777);  // the other half may be another user's
}

Peer::~Peer() {
  std::error_code ignored;
  if (first_) fs::remove_all(path_, ignored);
}

std::string Peer::Path(const std::string& name) const {
  return Joined(path_, name + std::to_string(round_));
}

std::string Peer::MessageName(bool of_first, int number) const {
  return std::string(of_first ? "first-" : "second-") + std::to_string(number);
}

// Renamed to its name when it is complete, so half a message is never read.
void Peer::Say(const std::string& text) {
  const std::string path = Joined(path_, MessageName(first_, said_++));
  std::ofstream(path + ".new", std::ios::binary) << text;
  if (rename((path + ".new").c_str(), path.c_str()) != 0)
    throw Stop({}, {kFailed, 0, "nothing can be written", errno, path});
}

// By reading the folder, since a file system may remember for a while that a name did not exist. NFS 3 also
// remembers what it has read, for up to a minute, unless this computer changes the folder itself.
bool Peer::Lists(const std::string& name) const {
  const std::string change = Joined(path_, MessageName(first_, 0) + ".change");
  if (mkdir(change.c_str(), 0777) == 0) rmdir(change.c_str());
  std::error_code problem;
  for (const auto& entry : fs::directory_iterator(path_, problem)) {
    if (entry.path().filename() == name) return true;
  }
  return false;
}

std::string Peer::Hear() {
  const std::string name = MessageName(!first_, heard_);
  const auto end = std::chrono::steady_clock::now() + (heard_ == 0 ? kForTheOther : kForAnAnswer);
  ++heard_;
  while (!Lists(name)) {
    if (std::chrono::steady_clock::now() >= end)
      throw Stop({}, {kUnreachable, 0, "no answer from the other half; if none is running, remove the folder",
                      0, path_});
    std::this_thread::sleep_for(kPause);
  }
  return ContentsOf(Joined(path_, name));
}

}  // namespace tvl::cli
