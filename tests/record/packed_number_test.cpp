#include "record/packed_number.h"

#include <cstdio>
#include <random>

#include "support/testing.h"

namespace {

using Bytes = std::vector<unsigned char>;

// Returns the number in a field, or "none". Changes the field like any read.
string Unpack(Bytes& field, int decimals) {
  char text[tvl::kNumberText];
  if (tvl::UnpackNumber(field.data(), static_cast<int>(field.size()), decimals, text)) return text;
  EXPECT_STREQ(text, "");
  return "none";
}

TEST(PackedNumber, PacksAndUnpacks) {
  const std::pair<const char*, Bytes> rows[] = {{"100", {0x8A, 0xE4}},        {"12345", {0x8C, 0xA2, 0xE9}},
                                                {"-123", {0xEF, 0x97}},       {"12.5", {0x8C, 0x10, 0xF8}},
                                                {"1.25", {0x02, 0x99, 0xF8}}, {"123.45", {0x8C, 0x04, 0xAD}},
                                                {"-1.5", {0xEF, 0x10}},       {"9", {0xED, 0xF8, 0xF8}}};
  for (const auto& [text, bytes] : rows) {
    Bytes field(bytes.size(), 'x');
    EXPECT_TRUE(tvl::PackNumber(field.data(), static_cast<int>(field.size()), text)) << text;
    EXPECT_EQ(field, bytes) << text;
    EXPECT_EQ(Unpack(field, 2), text);
    EXPECT_EQ(field, bytes) << text;
  }
}

TEST(PackedNumber, ReadsOrRefusesOddBytes) {
  const std::tuple<const char*, Bytes, int, const char*, Bytes> rows[] = {
      {"blanks alone", {' ', ' ', ' '}, 2, "0", {0xE4, 0xF8, 0xF8}},
      {"trailing blanks", {0x8C, ' ', ' '}, 0, "12", {0x8C, 0xF8, 0xF8}},
      {"blanks after bad bytes", {0x15, ' ', ' '}, 0, "none", {0x15, 0xF8, 0xF8}},
      {"a blank in the middle", {0x80, ' ', 0x80}, 2, "none", {0x80, ' ', 0x80}},
      {"no bytes", {}, 0, "none", {}},
      {"only filler", {0xF8, 0xF8}, 2, "none", {0xF8, 0xF8}},
      {"begins with the point", {0x0B, 0xE4}, 2, "none", {0x0B, 0xE4}},
      {"a point without decimals", {0x8C, 0x10, 0xF8}, 0, "none", {0x8C, 0x10, 0xF8}},
      {"a digit and the point at the end", {0x80, 0x01}, 2, "none", {0x80, 0x01}},
      {"a minus sign at the end", {0x80, 0xEE}, 2, "none", {0x80, 0xEE}},
      {"an unused code in the middle", {0x80, 0x15, 0x80}, 2, "none", {0x80, 0x15, 0x80}},
      {"a minus sign alone fills the field", {0xEE}, 0, "-0", {0xEE}},
      {"a number that ended before", {0xE5, 0x15, 0xF8}, 0, "1", {0xE5, 0x15, 0xF8}},
      {"filler before the end", {0x80, 0xF8, 0x80}, 0, "00", {0x80, 0xF8, 0x80}},
      {"as long as the text can be", Bytes(63, 0xE3), 0, nullptr, Bytes(63, 0xE3)},
      {"too long for the text", Bytes(64, 0xE3), 0, "none", Bytes(64, 0xE3)},
  };
  for (const auto& [why, bytes, decimals, text, left] : rows) {
    Bytes field = bytes;
    EXPECT_EQ(Unpack(field, decimals), text == nullptr ? string(126, '9') : text) << why;
    EXPECT_EQ(field, left) << why;
  }
}

// Only four bits of a character are used.
TEST(PackedNumber, PacksOddTextsAndKeepsFieldIfTheyDoNotFit) {
  const Bytes left = {'x', 'x'};
  const std::pair<const char*, Bytes> rows[] = {
      {"ab", {0x8C, 0xF8}}, {"12.", {0x8C, 0x0B}}, {"5.", {0x06, 0xF8}},       {".5", {0x10, 0xF8}},
      {"-", {0xEE, 0xF8}},  {"", {0xF8, 0xF8}},    {"\x7f\x7f", {0x25, 0xF8}}, {"12345", left},
      {"-1234", left},      {"1.234", left},       {"12345678901234567", left}};
  for (const auto& [text, bytes] : rows) {
    Bytes field = left;
    EXPECT_EQ(tvl::PackNumber(field.data(), 2, text), bytes != left) << text;
    EXPECT_EQ(field, bytes) << text;
  }
}

// Any number that the C library can print is read back unchanged.
TEST(PackedNumber, PacksRandomNumbers) {
  std::mt19937 random(20);
  for (int round = 0; round < 20000; ++round) {
    const int decimals = static_cast<int>(random() % 4);
    const double value = (static_cast<double>(random()) - 2147483648.0) / (1 << (random() % 20));
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    Bytes field(20, 'x');
    ASSERT_TRUE(tvl::PackNumber(field.data(), 20, text)) << text;
    ASSERT_EQ(Unpack(field, decimals), text);
  }
}

}  // namespace
