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

}  // namespace
