#include "presence/marker.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct Parsed {
  int fits;
  std::string computer;
  std::string ip;
  int instance;
  unsigned int pid;
  std::string clientClass;

  bool operator==(const Parsed&) const = default;
};

void PrintTo(const Parsed& parsed, std::ostream* out) {
  *out << parsed.fits << ' ' << parsed.computer << ' ' << parsed.ip << ' ' << parsed.instance << ' '
       << parsed.pid << ' ' << parsed.clientClass;
}

Parsed Parse(const std::string& name) {
  char computer[kMarkerNameRoom] = "-";
  char ip[kMarkerNameRoom] = "-";
  char clientClass[kMarkerNameRoom] = "-";
  int instance = -1;
  int pid = -1;
  const int fits = ParseMarkerName(name.c_str(), computer, ip, &instance, &pid, clientClass);
  EXPECT_EQ(ParseMarkerName(name.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr), fits);
  return {fits, computer, ip, instance, static_cast<unsigned int>(pid), clientClass};
}

const Parsed kNone = {0, "-", "-", -1, ~0U, "-"};

TEST(MarkerName, IsTakenApartFromItsRightEnd) {
  const struct {
    std::string name;
    Parsed parsed;
  } cases[] = {
      {"pc12-7f000001-002.1a2c.mgrx.tvp", {1, "pc12", "7f000001", 2, 0x1a2c, "mgrx"}},
      {"pc12-7f000001-002.1a2c.mgrx.TvP", {1, "pc12", "7f000001", 2, 0x1a2c, "mgrx"}},
      {"my-own-pc-7f000001-001.1.abxx.tvp", {1, "my-own-pc", "7f000001", 1, 1, "abxx"}},
      {"pc.site.it-7f000001-001.1.abxx.tvp", {1, "pc.site.it", "7f000001", 1, 1, "abxx"}},
      {"pc-7f000001-1234.fffffffe.abxx.tvp", {1, "pc", "7f000001", 1234, 0xfffffffe, "abxx"}},
      {"pc-7f000001-001.1.v1.0.tvp", {1, "pc", "7f000001", 1, 1, "v1.0"}},  // a point in the class
      {"pc-7f000001-001.1..abx.tvp", {1, "pc", "7f000001", 1, 1, ".abx"}},
      {"--1.1.abxx.tvp", {1, "", "", 1, 1, "abxx"}},
      {"pc-7f000001-002.1a2c.mgr.tvp", kNone},  // a class of three characters, and of five
      {"pc-7f000001-002.1a2c.mgrxx.tvp", kNone},
      {"pc-7f000001-002.1a2c.mgrx", kNone},
      {"pc-7f000001-002.1a2c.mgrx.tvx", kNone},
      {"pc-7f000001-002.mgrx.tvp", kNone},  // no process
      {"7f000001-002.1a2c.mgrx.tvp", kNone},
      {"002.1a2c.mgrx.tvp", kNone},
      {"mgrx.tvp", kNone},
      {".mgrx.tvp", kNone},
      {".tvp", kNone},
      {"tvp", kNone},
      {"", kNone},
      {std::string(97, 'c') + "-7f000001-002.1a2.mgrx.tvp",
       {1, std::string(97, 'c'), "7f000001", 2, 0x1a2, "mgrx"}},
      {std::string(102, 'c') + "-7f000001-002.1a2.mgrx.tvp", kNone},  // above 127 characters
  };
  for (const auto& test : cases) EXPECT_EQ(Parse(test.name), test.parsed) << test.name;
}

TEST(MarkerName, IsBuiltSoThatItComesApartAgain) {
  const struct {
    tvl::InstanceName name;
    const char* path;
  } cases[] = {
      {{"pc12", "7f000001", 2, 0x1a2c, "mgrx"}, "\\procs\\pc12-7f000001-002.1a2c.mgrx.tvp"},
      {{"my-pc", "c0a80001", 1000, 0xfffffffe, "v1.0"}, "\\procs\\my-pc-c0a80001-1000.fffffffe.v1.0.tvp"},
      {{"../pc", "7f000001", 2, 1, "mgrx"}, ""},  // out of the folder
      {{"pc", "7f000001", 2, 1, "a\\bc"}, ""},
  };
  for (const auto& test : cases) {
    const tvl::PathText path = tvl::MarkerPath("\\procs\\", test.name);
    EXPECT_EQ(path.Fits(), *test.path != 0);
    EXPECT_STREQ(path.Text(), test.path);
    if (!path.Fits()) continue;
    EXPECT_EQ(Parse(path.Text() + 7), (Parsed{1, test.name.computer, test.name.ip, test.name.instance,
                                              test.name.pid, test.name.client_class}));
  }
}

}  // namespace
