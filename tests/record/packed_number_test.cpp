#include "record/packed_number.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

struct Unpacked {
  bool isNumber;
  std::string text;
  Bytes left;  // the field afterwards
};

Unpacked Unpack(Bytes field, int decimals) {
  char text[tvl::kNumberText];
  const bool isNumber = tvl::UnpackNumber(field.data(), static_cast<int>(field.size()), decimals, text);
  return {isNumber, text, field};
}

TEST(PackedNumber, GoesInAndComesOut) {
  const struct {
    const char* text;
    Bytes bytes;
  } cases[] = {
      {"7", {0xEB}},
      {"100", {0x8A, 0xE4}},
      {"1234", {0x8C, 0xA2}},
      {"12345", {0x8C, 0xA2, 0xE9}},
      {"-123", {0xEF, 0x97}},
      {"12.5", {0x8C, 0x10, 0xF8}},
      {"1.25", {0x02, 0x99, 0xF8}},
      {"123.45", {0x8C, 0x04, 0xAD}},
      {"0", {0xE4}},
      {"00", {0x80}},
      {"-1", {0xEF, 0xF8}},
      {"-1.5", {0xEF, 0x10}},
      {"99", {0xE3}},
      {"9", {0xED, 0xF8, 0xF8}},
  };
  for (const auto& [text, bytes] : cases) {
    Bytes field(bytes.size(), 'x');
    EXPECT_TRUE(tvl::PackNumber(field.data(), static_cast<int>(field.size()), text)) << text;
    EXPECT_EQ(field, bytes) << text;
    const Unpacked unpacked = Unpack(bytes, 2);
    EXPECT_TRUE(unpacked.isNumber) << text;
    EXPECT_EQ(unpacked.text, text);
    EXPECT_EQ(unpacked.left, bytes) << text;
  }
}

TEST(PackedNumber, RefusesBytesThatAreNone) {
  const struct {
    const char* why;
    Bytes bytes;
    int decimals;
    bool isNumber;
  } cases[] = {
      {"only filler", {0xF8, 0xF8}, 2, false},
      {"zero bytes", {0, 0, 0}, 2, false},
      {"begins with the point", {0x0B, 0xE4}, 2, false},
      {"a point without decimals", {0x8C, 0x10, 0xF8}, 0, false},
      {"a digit and the point at the end", {0x80, 0x01}, 2, false},
      {"a minus sign at the end", {0x80, 0xEE}, 2, false},
      {"an unused code in the middle", {0x80, 0x15, 0x80}, 2, false},
      {"an unused code at the end", {0x80, 0xFF}, 2, false},
      {"a blank in the middle", {0x80, ' ', 0x80}, 2, false},
      {"a minus sign alone fills the field", {0xEE}, 0, true},
      {"a number that ended before", {0xE5, 0x15, 0xF8}, 0, true},
      {"filler before the end", {0x80, 0xF8, 0x80}, 0, true},
  };
  for (const auto& [why, bytes, decimals, isNumber] : cases) {
    const Unpacked unpacked = Unpack(bytes, decimals);
    EXPECT_EQ(unpacked.isNumber, isNumber) << why;
    EXPECT_EQ(unpacked.text.empty(), !isNumber) << why;
  }
  EXPECT_FALSE(Unpack({}, 0).isNumber);
}

TEST(PackedNumber, TakesBlanksForFiller) {
  const Unpacked allBlank = Unpack({' ', ' ', ' '}, 2);
  EXPECT_TRUE(allBlank.isNumber);
  EXPECT_EQ(allBlank.text, "0");
  EXPECT_EQ(allBlank.left, Bytes({0xE4, 0xF8, 0xF8}));

  const Unpacked someBlank = Unpack({0x8C, ' ', ' '}, 0);
  EXPECT_TRUE(someBlank.isNumber);
  EXPECT_EQ(someBlank.text, "12");
  EXPECT_EQ(someBlank.left, Bytes({0x8C, 0xF8, 0xF8}));

  const Unpacked invalid = Unpack({0x15, ' ', ' '}, 0);
  EXPECT_FALSE(invalid.isNumber);
  EXPECT_EQ(invalid.left, Bytes({0x15, 0xF8, 0xF8})) << "the blanks are converted all the same";
}

TEST(PackedNumber, LeavesTheFieldWhereANumberDoesNotFit) {
  for (const char* text : {"12345", "-1234", "1.234", "123456789012345678901234567890"}) {
    Bytes field = {'a', 'b'};
    EXPECT_FALSE(tvl::PackNumber(field.data(), 2, text)) << text;
    EXPECT_EQ(field, Bytes({'a', 'b'})) << text;
  }
  Bytes nothing;
  EXPECT_TRUE(tvl::PackNumber(nothing.data(), 0, ""));
  EXPECT_FALSE(tvl::PackNumber(nothing.data(), 0, "1"));
}

TEST(PackedNumber, CountsFourBitsOfACharacterAndStopsAtTheEnd) {
  const struct {
    const char* text;
    Bytes bytes;
  } cases[] = {{"ab", {0x8C, 0xF8}}, {"12.", {0x8C, 0x0B}}, {"5.", {0x06, 0xF8}},      {".5", {0x10, 0xF8}},
               {"-", {0xEE, 0xF8}},  {"", {0xF8, 0xF8}},    {"\x7f\x7f", {0x25, 0xF8}}};
  for (const auto& [text, bytes] : cases) {
    Bytes field(2, 'x');
    EXPECT_TRUE(tvl::PackNumber(field.data(), 2, text)) << text;
    EXPECT_EQ(field, bytes) << text;
  }
}

TEST(PackedNumber, RefusesATextBeyondItsBuffer) {
  EXPECT_EQ(Unpack(Bytes(63, 0xE3), 0).text.size(), 126U);
  EXPECT_FALSE(Unpack(Bytes(64, 0xE3), 0).isNumber);
  EXPECT_FALSE(Unpack(Bytes(6000, 0xE3), 0).isNumber);
}

// Any number that the C library can print comes back as it went in.
TEST(PackedNumber, KeepsRandomNumbers) {
  std::mt19937 random(20);
  for (int round = 0; round < 20000; ++round) {
    const int decimals = static_cast<int>(random() % 4);
    const double value = (static_cast<double>(random()) - 2147483648.0) / (1 << (random() % 20));
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    Bytes field(20, 'x');
    ASSERT_TRUE(tvl::PackNumber(field.data(), 20, text)) << text;
    ASSERT_EQ(Unpack(field, decimals).text, text);
  }
}

// Whatever bytes a record holds, reading them stays within field and text.
TEST(PackedNumber, SurvivesRandomBytes) {
  std::mt19937 random(7);
  for (int round = 0; round < 20000; ++round) {
    Bytes field(random() % 80);
    for (unsigned char& byte : field) byte = static_cast<unsigned char>(random());
    const Unpacked unpacked = Unpack(field, static_cast<int>(random() % 2));
    ASSERT_LE(unpacked.text.size(), unpacked.isNumber ? 2 * field.size() : 0);
  }
}

}  // namespace
