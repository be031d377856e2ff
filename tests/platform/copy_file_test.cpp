#include "platform/fixtures.h"

namespace {

TEST(CopyFile, CopiesAllSizesOverAllSizes) {
  const TempFolder folder;
  for (const std::size_t size : {0, 1, 4096, 131071, 131072, 131073, 300000, 1000000}) {
    for (const std::size_t before : {0, 10, 131072, 2000000}) {
      folder.Write("a", Pattern(size));
      folder.Write("b", string(before, 'x'));
      ASSERT_EQ(Copy(folder, "a", "b"), 1);
      ASSERT_EQ(folder.Read("b"), Pattern(size)) << size << " over " << before;
    }
  }
}

TEST(CopyFile, KeepsFileCopiedOntoItself) {
  TVL_SKIP_WITHOUT_LINKS();
  const TempFolder folder;
  folder.Write("a", "bytes");
  fs::create_hard_link(folder.Host("a"), folder.Host("hard"));
  fs::create_symlink("a", folder.Host("soft"));
  for (const char* source : {"a", "hard", "soft"}) {
    for (const char* target : {"a", "hard", "soft", "./a"}) {
      EXPECT_EQ(Copy(folder, source, target), 1) << source << target;
      EXPECT_EQ(folder.Read("a"), "bytes") << source << target;
    }
  }
}

TEST_F(HeldFile, DetectsAnotherDescriptorOfThisProcess) {
  for (const string name : {"full", "empty"}) {
    const string path = folder_.Logical(name);
    const tvl::LowFile file(path.c_str(), kLowReadWrite);
    ASSERT_TRUE(tvl::HoldFile(file.Handle()));
    for (int i = 0; i < 2; ++i)
      EXPECT_TRUE(IsHeldBySomebody(path)) << "opening and closing the file must not drop the hold";
    const tvl::LowFile second(path.c_str(), kLowReadWrite);
    EXPECT_FALSE(tvl::HoldFile(second.Handle()));
    ExpectRefused(name);
    tvl::ReleaseFile(file.Handle());
    EXPECT_FALSE(IsHeldBySomebody(path));
    EXPECT_TRUE(tvl::HoldFile(second.Handle()));
    tvl::ReleaseFile(second.Handle());
    EXPECT_EQ(DeleteFileA(path.c_str()), 1);
  }
}

}  // namespace
