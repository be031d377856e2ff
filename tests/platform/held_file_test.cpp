#include "platform/fixtures.h"

namespace {

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
