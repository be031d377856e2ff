#include "transfer/core.h"

#include "support/testing.h"

namespace {

TEST(Core, ReadsAppendedBytes) {
  CCore core;
  char got[8] = {};
  EXPECT_EQ(core.Read(got, 4), 0U);
  EXPECT_EQ(core.Append("abc", 3), 3U);
  EXPECT_EQ(core.Append("x", -1), 3U);
  EXPECT_EQ(core.Append("defg", 4), 7U);
  EXPECT_EQ(core.Read(got, 5), 5U);
  EXPECT_EQ(core.Append("h", 1), 8U);
  EXPECT_EQ(core.Read(got + 5, 0xFFFFFFFF), 3U);
  EXPECT_EQ(string(got, 8), "abcdefgh");
  EXPECT_EQ(core.Read(got, 1), 0U);
  core.Release();
  core.Release();
  EXPECT_EQ(core.Append("z", 1), 1U);
  EXPECT_EQ(core.Read(got, 2), 1U);
}

TEST(Core, LendsAndTransfersBlocks) {
  char lent[] = "lent";
  char got[4];
  CCore core;
  core.Append("own", 3);
  unsigned char* own = core.data;
  core.Attach(lent, 4, 0);  // the old block now belongs to the caller
  EXPECT_EQ(core.Read(got, 9), 4U);
  core.Attach(nullptr, 0, 0);
  EXPECT_EQ(core.Append("x", 1), 1U);
  core.Attach(own, 3, 1);
  EXPECT_EQ(core.Append("ed", 2), 5U);
  EXPECT_EQ(std::memcmp(core.data, "owned", 5), 0);
}

// A block that cannot grow is unchanged.
TEST(Core, RefusesMoreThan32Bits) {
  char bytes[] = "0123456789";
  CCore core;
  core.Attach(bytes, 0xFFFFFFF0, 0);  // only the count matters here
  EXPECT_EQ(core.Append(bytes, 16), 0xFFFFFFF0);
  EXPECT_EQ(core.data, reinterpret_cast<unsigned char*>(bytes));
  core.Attach(nullptr, 0, 0);
}

}  // namespace
