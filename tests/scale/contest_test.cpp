#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "scale/scale.h"
#include "support/arg.h"
#include "support/helper_process.h"
#include "support/store.h"

namespace {

using std::chrono::steady_clock;

constexpr int kProcesses = 8;

// What the owner of a lock does: only one process at a time can create the file.
class Owners {
 public:
  explicit Owners(std::string file) : file_(std::move(file)) {}

  void Own() {
    ++owned_;
    const int made = open(file_.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
    if (made < 0) {
      ++doubles_;
      return;
    }
    close(made);
    unlink(file_.c_str());
  }

  void Report() const { Say(std::to_string(owned_) + ' ' + std::to_string(doubles_)); }

 private:
  std::string file_;
  int owned_ = 0;
  int doubles_ = 0;
};

steady_clock::time_point EndAfter(const std::string& seconds) {
  return steady_clock::now() + std::chrono::seconds(std::stoi(seconds));
}

// Locks and unlocks through the library. Arguments: folder of the store, file of the owner, seconds.
const Role contend("contend", [](const std::vector<std::string>& arguments) {
  const Store store(arguments[0]);
  CTVLClientSmbOpr connection;
  if (store.Connect(connection) != TVL_OK) return 1;
  Owners owners(arguments[1]);
  Say("ready");
  Listen();
  for (const auto end = EndAfter(arguments[2]); steady_clock::now() < end;) {
    int state = 0, instance = 0, pid = 0;
    char computer[64], address[64], user[128];
    connection.Lock(Arg("contested"), &state, computer, &instance, &pid, address, user);
    if (state != 1) continue;
    owners.Own();
    connection.Unlock(Arg("contested"), &state, computer, &instance, &pid, address, user);
  }
  owners.Report();
  return 0;
});

// Locks without a batch: looks whether there is a row, and writes one if not. Arguments: table, file of the
// owner, seconds.
const Role contend_wrongly("contend-wrongly", [](const std::vector<std::string>& arguments) {
  const std::filesystem::path path = arguments[0];
  PermitTables(path.parent_path().c_str(), (path.parent_path().parent_path() / "tables.ini").c_str());
  const int table = IOpen(path.c_str());
  const std::string own = std::to_string(getpid() % 10'000);
  Owners owners(arguments[1]);
  Say("ready");
  Listen();
  for (const auto end = EndAfter(arguments[2]); steady_clock::now() < end;) {
    char key[8] = {};
    char record[21] = {};
    if (ReadKeyGt(table, 1, key, record) == 1 ||
        WriteRawKeys(table, own.c_str(), "", "01234567890123456789") != 1)
      continue;
    owners.Own();
    DeleteKeys(table, own.c_str(), nullptr);
  }
  owners.Report();
  return 0;
});

struct Score {
  int owned = 0;
  int doubles = 0;
};

Score Compete(const std::string& role, const std::string& where, const std::string& file, int seconds) {
  std::vector<std::unique_ptr<HelperProcess>> processes;
  for (int i = 0; i < kProcesses; ++i) {
    processes.push_back(std::make_unique<HelperProcess>(
        std::vector<std::string>{role, where, file, std::to_string(seconds)}));
    EXPECT_EQ(processes.back()->Hear(), "ready");
  }
  for (const auto& process : processes) process->Say("go");
  Score score;
  for (const auto& process : processes) {
    const std::string line = process->Hear();
    EXPECT_EQ(process->Wait(), 0);
    if (line.empty()) continue;
    score.owned += std::stoi(line);
    score.doubles += std::stoi(line.substr(line.find(' ')));
  }
  return score;
}

class ContestTest : public ScaleTest {};

TEST_F(ContestTest, OneProcessAtATimeHasALock) {
  const Store store(folder_.Host("contest"));
  std::filesystem::create_directories(store.root_host);
  std::filesystem::copy(folder_.Host("tables.ini"), store.root_host + "tables.ini");
  ASSERT_EQ(PermitTables((store.root_host + "tmp/locks").c_str(), (store.root_host + "tables.ini").c_str()),
            1);
  ASSERT_NO_THROW(store.Make()) << GetLastErrorText();
  const Score right = Compete("contend", folder_.Host("contest"), folder_.Host("owner"), 10);
  EXPECT_GT(right.owned, 100);
  EXPECT_EQ(right.doubles, 0);
  ASSERT_GT(Make(Remote()), 0) << GetLastErrorText();
  const Score wrong = Compete("contend-wrongly", Remote(), folder_.Host("owner"), 3);
  EXPECT_GT(wrong.doubles, 0) << "this test must see locks with two owners";
  std::printf("locks: %d, %d with two owners; without batches: %d, %d with two owners\n", right.owned,
              right.doubles, wrong.owned, wrong.doubles);
}

}  // namespace
