#include "transfer/core.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

TEST(Core, ReadsWhatWasAppended) {
  CCore core;
  char got[8] = {};
  EXPECT_EQ(core.Read(got, 4), 0U);
  EXPECT_EQ(core.Append("abc", 3), 3U);
  EXPECT_EQ(core.Append("", 0), 3U);
  EXPECT_EQ(core.Append("x", -1), 3U);
  EXPECT_EQ(core.Append("defg", 4), 7U);
  EXPECT_EQ(core.Read(got, 5), 5U);
  EXPECT_EQ(core.Append("h", 1), 8U);
  EXPECT_EQ(core.Read(got, 0), 0U);
  EXPECT_EQ(core.Read(got + 5, 0xFFFFFFFF), 3U);
  EXPECT_EQ(std::string(got, 8), "abcdefgh");
  EXPECT_EQ(core.Read(got, 1), 0U);
  EXPECT_EQ(core.position, 8U);
  core.Release();
  EXPECT_EQ(core.data, nullptr);
  EXPECT_EQ(core.length + core.position, 0U);
  core.Release();
  EXPECT_EQ(core.Append("z", 1), 1U);
}

TEST(Core, LendsAndGivesAwayBlocks) {
  char lent[] = "lent";
  {
    CCore core;
    core.Append("own", 3);
    unsigned char* own = core.data;
    core.Attach(lent, 4, 0);  // the own block is the caller's now
    char got[4];
    EXPECT_EQ(core.Read(got, 9), 4U);
    core.Attach(nullptr, 0, 0);
    EXPECT_EQ(core.Append("x", 1), 1U);
    core.Attach(nullptr, 0, 1);
    EXPECT_EQ(core.Append("y", 1), 1U);
    std::free(own);
  }
  CCore grown;
  auto* heap = static_cast<char*>(std::malloc(3));
  heap[0] = 'a';
  heap[1] = 'b';
  heap[2] = 'c';
  grown.Attach(heap, 3, 1);
  EXPECT_EQ(grown.Append("d", 1), 4U);
  EXPECT_EQ(std::memcmp(grown.data, "abcd", 4), 0);
}

TEST(Core, SmallAppendsMoveTheBlockSeldom) {
  CCore core;
  int moves = 0;
  const unsigned char* at = nullptr;
  for (int i = 0; i < 1'000'000; ++i) {
    core.Append("x", 1);
    moves += core.data != at;
    at = core.data;
  }
  EXPECT_EQ(core.length, 1'000'000U);
  EXPECT_LT(moves, 200);
}

// A block that takes no more stays as it is.
TEST(Core, RefusesMoreThan32Bits) {
  char bytes[] = "0123456789";
  CCore core;
  core.Attach(bytes, 0xFFFFFFF0, 0);  // only the count matters here
  EXPECT_EQ(core.Append(bytes, 16), 0xFFFFFFF0);
  EXPECT_EQ(core.data, reinterpret_cast<unsigned char*>(bytes));
  core.Attach(nullptr, 0, 0);
}

}  // namespace
