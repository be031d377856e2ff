#include "store/check/peer_checks.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "host/descriptor.h"
#include "host/system_calls.h"
#include "platform/files.h"
#include "store/check/lock_child.h"
#include "store/check/peer.h"
#include "store/check/scratch.h"

namespace tvl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr char kUseLocks[] =
    "use a file system with byte-range locks, and mount it with locking on both computers";
constexpr char kUseCoherence[] =
    "mount the share so that reads return what other computers wrote, for example with cache=strict";
constexpr std::chrono::seconds kForNews{10};

// The acting half and the observing half send messages in turn. The observer sends the last message of a
// check.

std::string NewFile(const Peer& peer, const std::string& name, const std::string& text) {
  const std::string path = peer.Path(name);
  WriteContents(path, text);
  return path;
}

int OpenForLocks(const std::string& path) {
  return System().open(path.c_str(), O_RDWR | O_CLOEXEC, 0);
}

// Calls `look` until it returns true. Returns the seconds that this took, or a negative number on timeout.
template <typename Look>
double Await(Look look) {
  const Clock::time_point start = Clock::now();
  while (!look()) {
    if (Clock::now() - start > kForNews) return -1;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return std::chrono::duration<double>(Clock::now() - start).count();
}

std::string Seconds(double seconds) {
  std::array<char, 32> text = {};
  std::snprintf(text.data(), text.size(), "%.3f s", seconds);
  return text.data();
}

void HoldForTheOther(Peer& peer, const std::string& name) {
  const std::string path = NewFile(peer, name, "x");
  const Descriptor file(OpenForLocks(path));
  peer.Say(TakeLock(file.Get(), kHoldRange) ? "held" : "refused");
  peer.Hear();
  DropLock(file.Get(), kHoldRange);
  peer.Say();
  peer.Hear();
}

void ActLocks(Peer& peer) {
  HoldForTheOther(peer, "lock");
}

Finding ObserveLocks(Peer& peer) {
  const bool held = peer.Hear() == "held";
  const bool both = CanLock(peer.Path("lock"), kTryRange);
  peer.Say();
  peer.Hear();
  const bool released = CanLock(peer.Path("lock"), kTryRange);
  peer.Say();
  if (!held) return Bad("the other computer cannot lock a file", kUseLocks);
  if (both) return Bad("two computers get the same lock", kUseLocks);
  return released ? Good("one computer at a time") : Bad("a released lock is not seen as free", kUseLocks);
}

void ActDeletion(Peer& peer) {
  HoldForTheOther(peer, "held");
}

Finding ObserveDeletion(Peer& peer) {
  peer.Hear();
  const std::string path = peer.Path("held");
  const bool refused = DeleteFileA(path.c_str()) == 0;
  const bool stays = IsThere(path);
  peer.Say();
  peer.Hear();
  const bool removed = DeleteFileA(path.c_str()) != 0;
  peer.Say();
  if (!refused || !stays) return Bad("a file that the other computer holds was deleted", kUseLocks);
  return removed ? Good("refused while the other computer holds it")
                 : Bad("a file that is no longer held cannot be deleted", kUseLocks);
}

void ActReads(Peer& peer) {
  const std::string path = NewFile(peer, "data", "old");
  peer.Say();
  peer.Hear();
  {
    const Descriptor file(OpenForLocks(path));
    const bool written = TakeLock(file.Get(), kHoldRange) && System().pwrite(file.Get(), "new", 3, 0) == 3 &&
                         System().fsync(file.Get()) == 0;
    DropLock(file.Get(), kHoldRange);
    peer.Say(written ? "written" : "failed");
  }
  peer.Hear();
}

bool ReadsNew(int descriptor) {
  std::array<char, 3> text = {};
  return System().pread(descriptor, text.data(), text.size(), 0) == 3 && text[0] == 'n';
}

// Reads in the way that a table is read: the file stays open, its old contents are cached, and each read
// follows a lock.
Finding ObserveReads(Peer& peer) {
  peer.Hear();
  const Descriptor file(OpenForLocks(peer.Path("data")));
  static_cast<void>(ReadsNew(file.Get()));
  peer.Say();
  const bool written = peer.Hear() == "written";
  const bool locked = TakeLock(file.Get(), kHoldRange);
  const bool at_once = ReadsNew(file.Get());
  const double late = at_once ? 0 : Await([&file] { return ReadsNew(file.Get()); });
  DropLock(file.Get(), kHoldRange);
  peer.Say();
  if (!written || !locked) return Bad("the file cannot be locked or written", kUseLocks);
  if (at_once) return Good("a read under a lock returns what the other computer wrote");
  return Bad(late < 0 ? "a read under a lock never returns what the other computer wrote"
                      : "a read under a lock is " + Seconds(late) + " old",
             kUseCoherence);
}

void ActRename(Peer& peer) {
  const std::string target = NewFile(peer, "over", "old");
  const std::string source = NewFile(peer, "newer", "new");
  peer.Say();
  peer.Hear();
  peer.Say(System().rename(source.c_str(), target.c_str()) == 0 ? std::string() : Reason());
  peer.Hear();
}

Finding ObserveRename(Peer& peer) {
  peer.Hear();
  const std::string path = peer.Path("over");
  std::string problem;
  {
    const Descriptor reader(System().open(path.c_str(), O_RDONLY | O_CLOEXEC, 0));
    peer.Say();
    problem = peer.Hear();
  }
  const double late = problem.empty() ? Await([&path] { return ContentsOf(path) == "new"; }) : 0;
  peer.Say();
  if (!problem.empty())
    return Warn("the other computer cannot replace a file that is open here (" + problem + ")",
                "keep files of the store open only briefly; replacing a file waits up to 10 s");
  if (late < 0) return Bad("a file replaced by the other computer keeps its old contents", kUseCoherence);
  return Good("visible after " + Seconds(late));
}

double SystemTime() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration<double>(now).count();
}

void ActClock(Peer& peer) {
  peer.Hear();
  std::array<char, 32> text = {};
  std::snprintf(text.data(), text.size(), "%.6f", SystemTime());
  peer.Say(text.data());
  peer.Hear();
}

Finding ObserveClock(Peer& peer) {
  constexpr double kLargestDifference = 1;
  const double asked = SystemTime();
  peer.Say();
  const double other = std::strtod(peer.Hear().c_str(), nullptr);
  const double answered = SystemTime();
  peer.Say();
  const double error = (answered - asked) / 2;
  const double difference = other - asked - error;
  const std::string text = Seconds(std::abs(difference)) + (difference < 0 ? " behind" : " ahead of") +
                           " this one (uncertainty " + Seconds(error) + ")";
  if (std::abs(difference) > kLargestDifference + error)
    return Warn("the other clock is " + text, "synchronize the clocks of both computers");
  return Good("the other clock is " + text);
}

std::string ChangeTime(const std::string& path) {
  struct stat status = {};
  if (System().stat(path.c_str(), &status) != 0) return Reason();
  return std::to_string(status.st_mtim.tv_sec) + "." + std::to_string(status.st_mtim.tv_nsec);
}

void ActTimes(Peer& peer) {
  const std::string path = NewFile(peer, "time", "x");
  const std::array<timespec, 2> times = {{{1'000'000'001, 123'456'789}, {1'000'000'001, 123'456'789}}};
  System().utimensat(AT_FDCWD, path.c_str(), times.data(), 0);
  peer.Say(ChangeTime(path));
  peer.Hear();
}

Finding ObserveTimes(Peer& peer) {
  const std::string theirs = peer.Hear();
  std::string ours;
  const double late = Await([&] {
    ours = ChangeTime(peer.Path("time"));
    return ours == theirs;
  });
  peer.Say();
  if (late < 0)
    return Warn("the other computer sees the time " + theirs + ", this one " + ours,
                "set FileCompare=hash in tvl.ini, which compares contents");
  return Good("the same on both computers");
}

void ActCase(Peer& peer) {
  static_cast<void>(NewFile(peer, "Case", "x"));
  peer.Say(IsThere(peer.Path("cASE")) ? "alike" : "different");
  peer.Hear();
}

Finding ObserveCase(Peer& peer) {
  const bool theirs = peer.Hear() == "alike";
  const bool ours = IsThere(peer.Path("cASE"));
  peer.Say();
  if (theirs != ours)
    return Warn("'a' and 'A' are the same name on one computer only",
                "mount the share with the same options on both computers");
  return Good(ours ? "'a' and 'A' are the same name" : "'a' and 'A' are different names");
}

struct PeerCheck {
  const char* name;
  bool needed;
  void (*act)(Peer&);
  Finding (*observe)(Peer&);
};

constexpr PeerCheck kChecks[] = {
    {"peer: locks", true, ActLocks, ObserveLocks},
    {"peer: deletion of a held file", true, ActDeletion, ObserveDeletion},
    {"peer: reads under a lock", true, ActReads, ObserveReads},
    {"peer: rename over a file", true, ActRename, ObserveRename},
    {"peer: clocks", false, ActClock, ObserveClock},
    {"peer: time stamps", false, ActTimes, ObserveTimes},
    {"peer: letter case", false, ActCase, ObserveCase},
};

std::string HostName() {
  std::array<char, 256> name = {};
  gethostname(name.data(), name.size() - 1);
  return name.data();
}

}  // namespace

StoreFailure RunPeerChecks(const std::string& folder, const std::string& name, const FindingReport& report) {
  Peer peer(folder, name);
  peer.Say(HostName());
  const std::string other = peer.Hear();
  if (!peer.Failure()) report.Add("peer", true, Good("the other half runs on " + other));
  for (int round = 0; round < 2; ++round) {
    peer.StartRound(round);
    for (const PeerCheck& check : kChecks) {
      if (peer.Failure()) return peer.Failure();
      if (peer.IsFirst() == (round == 0)) {
        check.act(peer);
      } else {
        const Finding finding = check.observe(peer);
        if (!peer.Failure()) report.Add(check.name, check.needed, finding);
      }
    }
  }
  if (peer.IsFirst()) {
    peer.Hear();  // the folder is removed when the other half has read everything
  } else {
    peer.Say();
  }
  return peer.Failure();
}

}  // namespace tvl
