#include <sys/mman.h>
#include <sys/prctl.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <random>
#include <sstream>
#include <thread>

#include "presence/clients.h"
#include "support/scale.h"

// A contest for locks between processes that are killed, stopped and restarted and that lose their markers,
// observed by a witness outside the store. With TVL_TEST_LARGE=1 there are a million rounds; then run the
// program directly, because CTest would end it too early.

namespace {

using std::chrono::steady_clock;

constexpr std::size_t kObjects = 6;
// Some share class and computer, and so compete for instance numbers as well.
constexpr std::array kClasses = {"mgrx", "mgrx", "mgrx", "ab  ", "ab  ", "ab  ", " \t  ", "a/b "};
constexpr std::size_t kContestants = kClasses.size();

// One start of a contestant.
struct Life {
  std::size_t contestant;
  std::uint32_t generation;  // from 1

  [[nodiscard]] std::uint32_t Id() const {
    return static_cast<std::uint32_t>(generation * kContestants + contestant);
  }
};

// Shared by all processes of the contest.
struct Witness {
  std::atomic<std::uint32_t> inside[kObjects];      // the life that has the lock, or 0
  std::atomic<std::uint32_t> killed[kContestants];  // the newest generation that is killed or about to be
  std::atomic<bool> being_robbed[kContestants];     // its marker is being removed
  std::atomic<bool> robbed[kContestants];           // its marker was removed since it last asked for a lock
  std::atomic<long> rounds;
  std::atomic<long> doubles;       // a life entered while another was inside
  std::atomic<long> held_losses;   // markers removed while their owners had a lock
  std::atomic<long> robberies;     // markers removed by another process at any moment
  std::atomic<long> successions;   // a robbed life met the one that had acquired its lock
  std::atomic<long> unnotified;    // owners of these that were not notified within a second
  std::atomic<long> false_alarms;  // owners that were notified of a loss although there was none
  std::atomic<bool> is_over;

  [[nodiscard]] bool IsKilled(std::uint32_t life) const {
    return killed[life % kContestants] >= life / kContestants;
  }

  [[nodiscard]] bool IsRobbed(std::uint32_t life) const {
    return being_robbed[life % kContestants] || robbed[life % kContestants];
  }

  // Returns false for a life that was robbed since it got the lock, if another life has acquired the lock.
  [[nodiscard]] bool Enter(std::size_t object, std::uint32_t life) {
    std::uint32_t former = inside[object];
    bool was_robbed = false;
    do {
      if (former != 0 && IsRobbed(life)) {
        ++successions;
        return false;
      }
      was_robbed = IsRobbed(former);
    } while (!inside[object].compare_exchange_strong(former, life));
    if (former != 0 && !IsKilled(former)) ++(was_robbed ? successions : doubles);
    return true;
  }

  void Leave(std::size_t object, std::uint32_t life) {
    std::uint32_t present = life;
    if (!inside[object].compare_exchange_strong(present, 0) && !IsRobbed(life)) ++doubles;
  }
};

Witness& MapWitness(const string& folder) {
  const int file = open((folder + "/witness").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (file < 0 || ftruncate(file, sizeof(Witness)) != 0) std::abort();
  void* memory = mmap(nullptr, sizeof(Witness), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  close(file);
  if (memory == MAP_FAILED) std::abort();
  return *static_cast<Witness*>(memory);
}

class Contestant {
 public:
  Contestant(const string& folder, Life life)
      : witness_(MapWitness(folder)), store_(folder), life_(life), random_(life.Id()) {}

  void Run() {
    Restart();
    // Tries first the locks that its predecessor had when it was killed.
    for (std::size_t object = 0; object < kObjects; ++object) Ask(object);
    while (!witness_.is_over) {
      if (OneIn(50)) Restart();
      if (OneIn(20)) RemoveMarker();
      Ask(random_() % kObjects);
    }
  }

 private:
  bool OneIn(unsigned int count) { return random_() % count == 0; }

  // Starts a new instance in this process, which must not own the locks of the last one.
  void Restart() {
    me_.reset();
    me_ = std::make_unique<Me>(store_, kClasses[life_.contestant]);
  }

  void Ask(std::size_t object) {
    const string name = "OBJECT" + std::to_string(object);
    witness_.robbed[life_.contestant] = false;  // the lock operation notices what was lost before
    if (me_->Lock(name.c_str()) == 1) Hold(object, name);
  }

  void RemoveMarker() const { unlink(tvl::HostPath(me_->markerPath).Text()); }

  void Hold(std::size_t object, const string& name) {
    const bool is_inside = witness_.Enter(object, life_.Id());
    ++witness_.rounds;
    if (OneIn(8) && !me_->HoldsLock(name.c_str()) && !witness_.IsRobbed(life_.Id())) ++witness_.false_alarms;
    if (OneIn(8)) std::this_thread::sleep_for(std::chrono::milliseconds(2));  // work under the lock
    if (is_inside) witness_.Leave(object, life_.Id());
    if (OneIn(20)) LoseMarker(name);
    me_->Unlock(name.c_str());
  }

  // From now on others may acquire the lock.
  void LoseMarker(const string& name) {
    RemoveMarker();
    ++witness_.held_losses;
    const auto start = steady_clock::now();
    if (me_->HoldsLock(name.c_str()) || steady_clock::now() - start > std::chrono::seconds(1))
      ++witness_.unnotified;
  }

  Witness& witness_;
  Store store_;
  Life life_;
  std::minstd_rand random_;
  std::unique_ptr<Me> me_;
};

const Role be_contestant("contestant", [](const std::vector<string>& arguments) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const Life life = {std::stoul(arguments[1]), static_cast<std::uint32_t>(std::stoul(arguments[2]))};
  Contestant(arguments[0], life).Run();
  return 0;
});

// Starts the contestants and disturbs them until the rounds are over.
class Contest {
 public:
  explicit Contest(const string& folder) : folder_(folder), witness_(MapWitness(folder)) {
    for (std::size_t contestant = 0; contestant < kContestants; ++contestant) Start(contestant);
  }

  // Runs longer if a slow machine has not seen each kind of disturbance by then. Returns false if the
  // contestants hang.
  [[nodiscard]] bool RunFor(long rounds) {
    long seen = 0;
    auto progress = steady_clock::now();
    while (witness_.rounds < rounds || !HasSeenAllDisturbances()) {
      Disturb(random_() % kContestants);
      std::this_thread::sleep_for(std::chrono::milliseconds(1 + random_() % 4));
      if (witness_.rounds != seen) progress = steady_clock::now();
      if (steady_clock::now() - progress > std::chrono::seconds(60)) return false;
      seen = witness_.rounds;
    }
    witness_.is_over = true;
    // A stopped one may have the lock table, for which others wait.
    for (auto& process : processes_) process->Signal(SIGCONT);
    for (auto& process : processes_) EXPECT_EQ(process->Wait(), 0);
    return true;
  }

  void Report() const {
    std::cout << witness_.rounds << " rounds, " << kills_ << " kills, markers removed from holders "
              << witness_.held_losses << ", at any moment " << witness_.robberies << " (locks taken over "
              << witness_.successions << ")\n";
  }

  [[nodiscard]] const Witness& Observed() const { return witness_; }

 private:
  [[nodiscard]] bool HasSeenAllDisturbances() const {
    return kills_ > 0 && witness_.held_losses > 0 && witness_.robberies > 0;
  }

  void Start(std::size_t contestant) {
    processes_[contestant].emplace(std::vector<string>{"contestant", folder_, std::to_string(contestant),
                                                       std::to_string(++generations_[contestant])});
  }

  void Disturb(std::size_t contestant) {
    switch (random_() % 8) {
      case 0:
        witness_.killed[contestant] = generations_[contestant];
        processes_[contestant].reset();  // kills it with SIGKILL
        ++kills_;
        Start(contestant);
        break;
      case 1:
      case 2:
        processes_[contestant]->Signal(SIGSTOP);
        break;
      case 3:
        Rob(contestant);
        break;
      default:
        processes_[contestant]->Signal(SIGCONT);
    }
  }

  // Removes the marker of a contestant at any time, even in the middle of a lock operation.
  void Rob(std::size_t contestant) {
    std::ostringstream process;
    process << '.' << std::hex << processes_[contestant]->Pid() << '.';
    witness_.being_robbed[contestant] = true;
    for (const auto& marker : fs::directory_iterator(procs_)) {
      const string name = marker.path().filename();
      if (name[0] == '.' || name.find(process.str()) == string::npos) continue;
      if (unlink(marker.path().c_str()) == 0) ++witness_.robberies;
    }
    witness_.robbed[contestant] = true;
    witness_.being_robbed[contestant] = false;
  }

  string folder_;
  string procs_ = Store(folder_).procs_host;
  Witness& witness_;
  std::array<std::optional<HelperProcess>, kContestants> processes_;
  std::array<std::uint32_t, kContestants> generations_ = {};
  std::minstd_rand random_{1};
  long kills_ = 0;
};

using PresenceContest = StoreTest;

TEST_F(PresenceContest, NeverHasTwoOwnersOfOneLock) {
  const bool is_large = getenv("TVL_TEST_LARGE") != nullptr;
  const long rounds = is_large ? 1'000'000 : Rounds(2'000);
  // Held markers that leave only numbers in between for one class, and high numbers for another.
  const string numbered = store_.procs + "pc12-7f000001-";
  const HeldMarker held[] = {HeldMarker(numbered + "001.1.ab  .tvp"),
                             HeldMarker(numbered + "9999.1.ab  .tvp"),
                             HeldMarker(numbered + "9998.1.mgrx.tvp")};
  Contest contest(folder_.Host());
  EXPECT_TRUE(contest.RunFor(rounds)) << "the contestants hang";
  contest.Report();
  const Witness& witness = contest.Observed();
  EXPECT_EQ((std::vector<long>{witness.doubles, witness.unnotified, witness.false_alarms}),
            std::vector<long>(3));
  CConnection looking(store_.locks.c_str(), store_.procs.c_str(), "look");
  int count = 0;
  CString list;
  looking.GetProcessesList("*", count, list);
  EXPECT_EQ(count, 3) << list.GetString();
}

}  // namespace
