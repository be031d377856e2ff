#include "transfer/zlib_file.h"

#include <random>

#include "support/faults.h"
#include "support/testing.h"
#include "transfer/core.h"

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

class ZlibFile : public testing::Test {
 protected:
  string Pack(const string& contents) {
    folder_.Write("source", contents);
    CCore core;
    EXPECT_EQ(CZlib().CompressFile(folder_.Logical("source").c_str(), core), 1);
    return {reinterpret_cast<char*>(core.data), core.length};
  }

  // Decompresses a heap block of exactly the size of the stream into the target.
  int Unpack(const string& stream) {
    CCore core;
    core.Append(stream.data(), static_cast<std::int32_t>(stream.size()));
    return CZlib().DecompressFile(core, folder_.Logical("target").c_str());
  }

  TempFolder folder_;
};

string Random(std::size_t size) {
  std::mt19937 random(static_cast<unsigned int>(size));
  string bytes(size, 0);
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

TEST_F(ZlibFile, RoundTrips) {
  for (const std::size_t size : {0, 1, 16383, 16384, 16385, 32768, 163840, 1000000}) {
    for (const string& contents : {string(size, 'x'), Random(size)}) {
      folder_.Write("target", "longer than what comes " + string(200, '#'));
      ASSERT_EQ(Unpack(Pack(contents)), 1) << size;
      ASSERT_EQ(folder_.Read("target"), contents) << size;
    }
  }
}

TEST_F(ZlibFile, TruncatedStreamFailsAndTrailingBytesAreIgnored) {
  const string contents = "hello, hello, hello, world";
  const string empty = Pack("");
  EXPECT_EQ(empty, string("\x78\x9C\x03\x00\x00\x00\x00\x01", 8));
  const string stream = Pack(contents);
  for (const string& whole : {empty, stream}) {
    for (std::size_t cut = 0; cut < whole.size(); ++cut) {
      fs::remove(folder_.Host("target"));  // a file that is truncated again is slow to close
      EXPECT_EQ(Unpack(whole.substr(0, cut)), 0) << cut;
    }
  }
  for (const std::size_t more : {1, 16384, 100000}) {
    EXPECT_EQ(Unpack(stream + Random(more)), 1);
    EXPECT_EQ(folder_.Read("target"), contents);
  }
  const string large = Pack(Random(50000));
  for (const std::size_t cut : {std::size_t{16384}, std::size_t{32768}, large.size() - 1})
    EXPECT_EQ(Unpack(large.substr(0, cut)), 0) << cut;
  EXPECT_EQ(Unpack("\x78\xBB\x01\x01\x01\x01" + stream.substr(2)), 0) << "wants a dictionary";
  for (std::size_t bit = 0; bit < stream.size() * 8; ++bit) {
    string broken = stream;
    broken[bit / 8] = static_cast<char>(broken[bit / 8] ^ (1 << bit % 8));
    fs::remove(folder_.Host("target"));
    if (Unpack(broken) == 0) continue;
    EXPECT_EQ(folder_.Read("target"), contents) << "flipped bit " << bit;
  }
}

TEST_F(ZlibFile, ReadsFromCursor) {
  const string stream = Pack("abc");
  CCore core;
  core.Append(("junk" + stream).c_str(), static_cast<std::int32_t>(stream.size()) + 4);
  core.position = 4;
  EXPECT_EQ(CZlib().DecompressFile(core, folder_.Logical("target").c_str()), 1);
  EXPECT_EQ(CZlib().DecompressFile(core, folder_.Logical("target").c_str()), 0) << "a block is read once";
}

TEST_F(ZlibFile, FilesThatCannotBeOpenedFail) {
  CCore core;
  for (const string& path : {folder_.Logical("no/file"), folder_.Logical()}) {
    EXPECT_EQ(CZlib().CompressFile(path.c_str(), core), 0);
    EXPECT_EQ(CZlib().DecompressFile(core, path.c_str()), 0);
  }
  EXPECT_EQ(core.length, 0U);
}

// Not even the last close may fail unnoticed: a network share reports lost bytes there.
TEST_F(ZlibFile, ReportsEveryDecompressionFailure) {
  const string stream = Pack(Random(40000));
  for (int at = 1;; ++at) {
    folder_.Write("target", "old");
    const Faults faults(at, ENOSPC);
    const int result = Unpack(stream);
    const string hit = Faults::Hit() != nullptr ? Faults::Hit() : "";
    // If the file system has no locks, nobody can hold the file, and it does not matter whether it exists.
    EXPECT_EQ(result, hit.empty() || hit == "lock" || hit == "lstat" ? 1 : 0) << at << hit;
    if (hit.empty()) break;
  }
}

}  // namespace
