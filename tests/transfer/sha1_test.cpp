#include "transfer/sha1.h"

#include <stdio.h>

#include <cstdlib>

#include "support/faults.h"
#include "support/testing.h"
#include "transfer/sha1_transform.h"

namespace {

string Hex(const Sha1Context& context) {
  string text;
  for (int i = 0; i < 20; ++i) {
    char digits[3];
    snprintf(digits, sizeof digits, "%02x", context.buffer[i]);
    text += digits;
  }
  return text;
}

// Returns the digest of a message that is added in two pieces.
string Digest(const string& message, std::size_t split = 0) {
  Sha1Context context;
  Sha1Init(&context);
  Sha1Update(&context, message.data(), static_cast<unsigned int>(split));
  Sha1Update(&context, message.data() + split, static_cast<unsigned int>(message.size() - split));
  Sha1Final(&context);
  return Hex(context);
}

string OfFile(const string& path) {
  char signature[kSignatureSize] = "old";
  const int result = Sha1OfFile(path.c_str(), signature);
  EXPECT_EQ(result, signature[0] != 0);
  return signature;
}

string Message(std::size_t length) {
  string message(length, 0);
  for (std::size_t i = 0; i < length; ++i) message[i] = static_cast<char>(i * 37 + 11);
  return message;
}

TEST(Sha1, PublishedVectors) {
  const std::pair<string, const char*> cases[] = {
      {"", "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
      {"abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
      {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
       "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
      {string(55, 'a'), "c1c8bbdc22796e28c0e15163d20899b65621d65a"},
      {string(63, 'a'), "03f09f5b158a7a8cdad920bddc29b81c18a551f5"},
      {string(64, 'a'), "0098ba824b5c16427bd7a1122a5a442a25ec644d"},
      {string(119, 'a'), "ee971065aaa017e0632a8ca6c77bb3bf8b1dfc56"},
      {string(1000000, 'a'), "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
  };
  for (const auto& [message, digest] : cases) EXPECT_EQ(Digest(message), digest) << message.size();
}

TEST(Sha1, PieceSizesDoNotMatter) {
  for (std::size_t length = 0; length <= 200; ++length) {
    const string message = Message(length);
    const string whole = Digest(message);
    for (std::size_t split = 1; split <= length; ++split) ASSERT_EQ(Digest(message, split), whole) << length;
    Sha1Context context;
    Sha1Init(&context);
    for (const char& byte : message) {
      Sha1Update(&context, &byte, 1);
      Sha1Update(&context, nullptr, 0);
    }
    Sha1Final(&context);
    ASSERT_EQ(Hex(context), whole) << length;
  }
}

TEST(Sha1, ProcessorInstructionsMatchPortableCode) {
  const tvl::Sha1Transform by_processor = tvl::ProcessorSha1Transform();
  if (by_processor == nullptr) GTEST_SKIP() << "none in this processor";
  const string bytes = Message(64 * 70 + 16);
  for (std::size_t offset = 0; offset < 16; ++offset) {
    for (std::size_t count = 0; count <= 70; ++count) {
      std::uint32_t a[5] = {0x67452301, 0xEFCDAB89, 0xFFFFFFFF, static_cast<std::uint32_t>(count),
                            0x80000000};
      std::uint32_t b[5];
      std::memcpy(b, a, sizeof a);
      const auto* blocks = reinterpret_cast<const unsigned char*>(bytes.data()) + offset;
      by_processor(a, blocks, count);
      tvl::Sha1TransformPortable(b, blocks, count);
      ASSERT_EQ(std::memcmp(a, b, sizeof a), 0) << count;
    }
  }
}

TEST(Sha1, HashesFiles) {
  const TempFolder folder;
  for (const std::size_t size : {0, 1, 131071, 131072, 131073, 1000003}) {
    folder.Write("f", Message(size));
    EXPECT_EQ(OfFile(folder.Logical("f")), Digest(Message(size))) << size;
  }
  if (getenv("TVL_TEST_LARGE") == nullptr) return;
  folder.Write("zeros", "");
  fs::resize_file(folder.Host("zeros"), 5'000'000'001);
  EXPECT_EQ(OfFile(folder.Logical("zeros")), "903e728bd512c4ad2178b4cdc4fe6d5cf31b2e25");
}

TEST(Sha1, IsEmptyForUnreadableFile) {
  const TempFolder folder;
  folder.Write("f", Message(300000));
  EXPECT_EQ(OfFile(folder.Logical("none")), "");
  EXPECT_EQ(OfFile(folder.Logical()), "");
  for (int at = 1;; ++at) {
    const Faults faults(at, EIO);
    const string signature = OfFile(folder.Logical("f"));
    if (Faults::Hit() == nullptr) break;
    // Only the close at the end may fail without harm.
    EXPECT_EQ(signature.empty(), string(Faults::Hit()) != "close") << at;
  }
}

TEST(Sha1, HashesStringWithItsLength) {
  const std::pair<string, string> cases[] = {{"", "0"},
                                             {"abc", "3abc"},
                                             {string(15, 'x'), "f" + string(15, 'x')},
                                             {string(4096, 'x'), "1000" + string(4096, 'x')}};
  for (const auto& [text, message] : cases) {
    char signature[kSignatureSize];
    EXPECT_EQ(Sha1OfString(text.c_str(), signature), 1);
    EXPECT_EQ(signature, Digest(message));
  }
}

}  // namespace
