#include "transfer/zlib_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <zlib.h>

#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

#include "support/faults.h"
#include "support/temp_folder.h"

namespace {

using std::string;

class ZlibFile : public testing::Test {
 protected:
  string Pack(const string& contents) {
    folder_.Write("source", contents);
    CCore core;
    CZlib zlib;
    EXPECT_EQ(zlib.CompressFile(folder_.Logical("source").c_str(), core), 1);
    return {reinterpret_cast<char*>(core.data), core.length};
  }

  // Unpacks a heap block of exactly the stream's size; the target then holds whatever was written.
  int Unpack(const string& stream) {
    std::filesystem::remove(
        folder_.Host("target"));  // a file that is emptied and written again is slow to close
    return UnpackOver(stream);
  }

  int UnpackOver(const string& stream) {
    CCore core;
    if (!stream.empty()) core.Append(stream.data(), static_cast<std::int32_t>(stream.size()));
    CZlib zlib;
    return zlib.DecompressFile(core, folder_.Logical("target").c_str());
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
  for (const std::size_t size : {0, 1, 16383, 16384, 16385, 32767, 32768, 32769, 163840, 1000000}) {
    for (const string& contents : {string(size, 'x'), Random(size)}) {
      const string stream = Pack(contents);
      EXPECT_EQ(stream.substr(0, 2), "\x78\x9C");
      folder_.Write("target", "longer than what comes " + string(200, '#'));
      ASSERT_EQ(UnpackOver(stream), 1) << size;
      ASSERT_EQ(folder_.Read("target"), contents) << size;
    }
  }
}

TEST_F(ZlibFile, AnEmptyFileIsEightBytes) {
  const string stream = Pack("");
  EXPECT_EQ(stream, string("\x78\x9C\x03\x00\x00\x00\x00\x01", 8));
  for (std::size_t cut = 0; cut < stream.size(); ++cut) {
    folder_.Write("target", "old");
    EXPECT_EQ(UnpackOver(stream.substr(0, cut)), 0) << cut;
    EXPECT_EQ(folder_.Read("target"), "") << cut;
  }
}

TEST_F(ZlibFile, EveryCutFailsAndWhatFollowsTheEndIsIgnored) {
  const string stream = Pack("hello, hello, hello, world");
  for (std::size_t cut = 0; cut < stream.size(); ++cut) EXPECT_EQ(Unpack(stream.substr(0, cut)), 0) << cut;
  for (const std::size_t more : {1, 16384, 100000}) {
    EXPECT_EQ(Unpack(stream + Random(more)), 1);
    EXPECT_EQ(folder_.Read("target"), "hello, hello, hello, world");
  }
  const string large = Pack(Random(50000));
  for (const std::size_t cut : {16384UL, 32768UL, large.size() - 1})
    EXPECT_EQ(Unpack(large.substr(0, cut)), 0) << cut;
}

TEST_F(ZlibFile, EveryFlippedBitOfASmallStreamFailsOrGivesTheSame) {
  const string contents = "hello, hello, hello, world";
  const string stream = Pack(contents);
  for (std::size_t bit = 0; bit < stream.size() * 8; ++bit) {
    string broken = stream;
    broken[bit / 8] = static_cast<char>(broken[bit / 8] ^ (1 << bit % 8));
    const int result = Unpack(broken);
    if (result == 1) {
      EXPECT_EQ(folder_.Read("target"), contents) << bit;
    }
  }
}

TEST_F(ZlibFile, AStreamThatWantsADictionaryFails) {
  z_stream stream = {};
  ASSERT_EQ(deflateInit(&stream, -1), Z_OK);
  Bytef dictionary[] = "hello";
  ASSERT_EQ(deflateSetDictionary(&stream, dictionary, 5), Z_OK);
  Bytef input[] = "hello hello";
  Bytef output[100];
  stream.next_in = input;
  stream.avail_in = 11;
  stream.next_out = output;
  stream.avail_out = sizeof output;
  ASSERT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
  EXPECT_EQ(Unpack(string(reinterpret_cast<char*>(output), stream.total_out)), 0);
  deflateEnd(&stream);
}

TEST_F(ZlibFile, AgreesWithAnotherImplementationOfTheFormat) {
  if (std::system("python3 -c 'import zlib' 2>/dev/null") != 0) GTEST_SKIP() << "no python3";
  const string contents = Random(40000) + string(40000, 'y');
  folder_.Write("packed", Pack(contents));
  const string script =
      "import sys,zlib\nd=open(sys.argv[1],'rb').read()\nx=zlib.decompress(d)\n"
      "open(sys.argv[2],'wb').write(x)\nopen(sys.argv[3],'wb').write(zlib.compress(x,9))\n";
  folder_.Write("script.py", script);
  ASSERT_EQ(std::system(("python3 " + folder_.Host("script.py") + " " + folder_.Host("packed") + " " +
                         folder_.Host("plain") + " " + folder_.Host("theirs"))
                            .c_str()),
            0);
  EXPECT_EQ(folder_.Read("plain"), contents);
  EXPECT_EQ(Unpack(folder_.Read("theirs")), 1);
  EXPECT_EQ(folder_.Read("target"), contents);
}

TEST_F(ZlibFile, ReadsFromTheCursorOn) {
  const string stream = Pack("abc");
  CCore core;
  core.Append("junk", 4);
  core.Append(stream.data(), static_cast<std::int32_t>(stream.size()));
  core.position = 4;
  CZlib zlib;
  EXPECT_EQ(zlib.DecompressFile(core, folder_.Logical("target").c_str()), 1);
  EXPECT_EQ(zlib.DecompressFile(core, folder_.Logical("target").c_str()), 0) << "a block is read once";
}

TEST_F(ZlibFile, FilesThatCannotBeOpenedFail) {
  CCore core;
  CZlib zlib;
  EXPECT_EQ(zlib.CompressFile(folder_.Logical("none").c_str(), core), 0);
  EXPECT_EQ(zlib.CompressFile(folder_.Logical().c_str(), core), 0);
  EXPECT_EQ(core.length, 0U);
  EXPECT_EQ(zlib.DecompressFile(core, folder_.Logical().c_str()), 0);
  EXPECT_EQ(zlib.DecompressFile(core, folder_.Logical("no/file").c_str()), 0);
}

// Not even the last close may fail unnoticed: a network share reports lost bytes there.
TEST_F(ZlibFile, EveryFailureWhileUnpackingShows) {
  const string stream = Pack(Random(40000));
  int failures = 0;
  for (int at = 1;; ++at) {
    const Faults faults(at, ENOSPC);
    const int result = Unpack(stream);
    if (Faults::Hit() == nullptr) {
      EXPECT_EQ(result, 1);
      break;
    }
    const string hit = Faults::Hit();
    // Without locks on the file system nobody can hold the file; and whether it exists makes no difference.
    if (hit == "lock" || hit == "lstat") continue;
    EXPECT_EQ(result, 0) << hit;
    ++failures;
  }
  EXPECT_GT(failures, 4);
}

}  // namespace
