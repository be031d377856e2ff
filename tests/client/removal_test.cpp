#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include <tvlclient/smb_opr.h>
#include <tvlclient/tvl.h>

#include "support/arg.h"
#include "support/faults.h"
#include "support/temp_folder.h"
#include "trees/snapshot.h"

namespace {

namespace fs = std::filesystem;
using std::string;

// A tree "t" to be removed, and a folder "outside" with the same names, to which a link in the tree leads.
class LocalTreeRemoval : public testing::Test {
 protected:
  LocalTreeRemoval() {
    for (const char* name : {"a/x", "a/sub/y", "b/sub/z"})
      folder.Write(string("outside/") + name, "precious");
    outside = SnapshotOf(folder.Host("outside"));
    MakeTree();
  }

  void MakeTree() const {
    for (const char* name : {"t", "away"}) fs::remove_all(folder.Host(name));
    for (const char* name : {"a/x", "a/sub/y", "b/sub/z"}) folder.Write(string("t/") + name, "gone");
    fs::create_directory_symlink("../outside", folder.Host("t/link"));
  }
  int Remove(ProgressCallback callback = nullptr) {
    return opr.RemoveDosDir(Arg(folder.Logical("t")), callback, this);
  }

  TempFolder folder;
  Snapshot outside;
  CTVLClientSmbOpr opr;
};

// Replaces a folder by a link at each step at which a removal calls its hooks.
class LocalTreeSwap : public LocalTreeRemoval {
 protected:
  static void Step(void* test) {
    LocalTreeSwap& self = *static_cast<LocalTreeSwap*>(test);
    if (--self.steps_left != 0) return;
    std::error_code gone;
    fs::rename(self.folder.Host("t/" + self.victim), self.folder.Host("away"), gone);
    if (!gone)
      fs::create_directory_symlink(self.folder.Host("outside/" + self.victim),
                                   self.folder.Host("t/" + self.victim));
  }
  static void StepOfCallback(char* /*path*/, unsigned int /*size*/, void* test) { Step(test); }

  string victim;
  int steps_left = 0;
};

TEST_F(LocalTreeSwap, DeletesNothingOutsideTree) {
  for (const char* name : {"a", "b", "a/sub"}) {
    victim = name;
    for (const bool by_callback : {false, true}) {
      for (int step = 1;; ++step) {
        MakeTree();
        steps_left = step;
        TVLSetPumpHook(by_callback ? nullptr : Step, this);
        const int code = Remove(by_callback ? StepOfCallback : nullptr);
        TVLSetPumpHook(nullptr, nullptr);
        EXPECT_TRUE(code == 0 || code == 24) << code;
        EXPECT_EQ(code == 0, !folder.Exists("t"));
        ASSERT_EQ(SnapshotOf(folder.Host("outside")), outside) << name << step;
        if (steps_left > 0) break;
      }
    }
  }
}

TEST_F(LocalTreeRemoval, ReportsEachFailure) {
  for (const auto span : {Faults::Span::kOne, Faults::Span::kFromThereOn}) {
    for (const int error : {EIO, EACCES, ESTALE}) {
      for (int at = 1;; ++at) {
        MakeTree();
        const long descriptors = OpenDescriptors();
        int code = 0;
        const char* hit = nullptr;
        {
          const Faults faults(at, error, span);
          code = Remove(at % 2 == 0 ? [](char*, unsigned int, void*) {} : ProgressCallback());
          hit = Faults::Hit();
        }
        if (hit == nullptr) break;
        SCOPED_TRACE(hit + std::to_string(at));
        EXPECT_EQ(OpenDescriptors(), descriptors);
        EXPECT_TRUE(code == 0 || code == 23 || code == 24) << code;
        EXPECT_TRUE(code != 0 || !folder.Exists("t"));
        ASSERT_EQ(SnapshotOf(folder.Host("outside")), outside);
      }
    }
  }
}

// The hook is called between two entries, so that a stop leaves complete files on both sides.
TEST_F(LocalTreeRemoval, StopEndsEachWalkBetweenTwoEntries) {
  int left = 0;
  TVLSetStopHook([](void* count) { return --*static_cast<int*>(count) < 0 ? 1 : 0; }, &left);
  for (const int steps : {0, 1, 5}) {
    left = steps;
    EXPECT_EQ(opr.CopyDosDir(Arg(folder.Logical("t")), Arg(folder.Logical("away")), nullptr, nullptr), 40);
    EXPECT_LT(SnapshotOf(folder.Host("away")).size(), 3U + static_cast<std::size_t>(steps));
    left = steps;
    EXPECT_LT(opr.SizeofDosDir(Arg(folder.Logical("outside")), nullptr, nullptr), 24.0);
    left = steps;
    EXPECT_EQ(Remove(), 40);
    EXPECT_EQ(TVLLastFileError(nullptr, 0), ECANCELED);
    EXPECT_TRUE(folder.Exists("t"));
    MakeTree();
  }
  left = 1000;
  EXPECT_EQ(Remove(), 0);
  TVLSetStopHook(nullptr, nullptr);
}

}  // namespace
