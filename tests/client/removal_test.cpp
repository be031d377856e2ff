#include <tvlclient/smb_opr.h>
#include <tvlclient/tvl.h>

#include "support/faults.h"
#include "support/tree.h"

namespace {

// A tree "t" to be removed, and a folder "outside" with the same names, to which a link in the tree leads.
class LocalTreeRemoval : public testing::Test {
 protected:
  LocalTreeRemoval() {
    Create(folder, "outside/a/x=precious outside/a/sub/y=precious outside/b/sub/z=precious");
    MakeTree();
  }

  void MakeTree() const {
    for (const char* name : {"t", "away"}) fs::remove_all(folder.Host(name));
    Create(folder, "t/a/x=gone t/a/sub/y=gone t/b/sub/z=gone t/link>../outside");
  }
  int Remove(ProgressCallback callback = nullptr) {
    return opr.RemoveDosDir(Arg(folder.Logical("t")), callback, this);
  }

  [[nodiscard]] bool IsOutsideUnchanged() const {
    return TreeOf(folder.Host("outside")) == Described("a/x=precious a/sub/y=precious b/sub/z=precious");
  }

  TempFolder folder;
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
  TVL_SKIP_WITHOUT_LINKS();
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
        ASSERT_TRUE(IsOutsideUnchanged()) << name << step;
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
        const ProgressCallback callback = at % 2 == 0 ? +[](char*, unsigned int, void*) {} : nullptr;
        const int code = WithFault(at, error, span, [&] { return Remove(callback); });
        if (Faults::Hit() == nullptr) break;
        SCOPED_TRACE(Faults::Hit() + std::to_string(at));
        EXPECT_TRUE(code == 0 || code == 23 || code == 24) << code;
        EXPECT_TRUE(code != 0 || !folder.Exists("t"));
        ASSERT_TRUE(IsOutsideUnchanged());
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
    EXPECT_LT(TreeOf(folder.Host("away")).size(), 3U + static_cast<std::size_t>(steps));
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
