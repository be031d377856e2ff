#include <string>
#include <vector>

#include "e2e/json_checker.h"
#include "e2e/tvl_runner.h"

namespace {

bool Holds(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST_F(TvlTest, ValuesComeBackAsTheyWereSet) {
  Configure("; a comment\n[Environments]\nOther=1");
  for (const std::string value : {"plain", "", " a ", "\"x\"", "'y", "a;b=c", "$X\\y", "\xC3\xA8\xE8"}) {
    Expect(0, {"env", "set", "Name", value});
    EXPECT_EQ(Expect(0, {"env", "get", "NAME"}).out, value + "\n");
  }
  EXPECT_TRUE(Holds(folder.Read("store/tvl.ini"), "; a comment\n"));
  EXPECT_EQ(Expect(0, {"--json", "env", "get", "Other"}).out,
            "{\"command\":\"env get\",\"name\":\"Other\",\"value\":\"1\"}\n");
  Expect(6, {"env", "get", "none"});
  const std::string before = folder.Read("store/tvl.ini");
  for (const std::vector<std::string>& bad : {std::vector<std::string>{"a=b", "c"},
                                              {"", "c"},
                                              {"[x", "c"},
                                              {"x", "line\nend"},
                                              {"x", std::string(2048, 'l')}})
    Expect(2, {"env", "set", bad[0], bad[1]});
  Expect(0, {"-n", "env", "set", "Other", "2"});
  EXPECT_EQ(folder.Read("store/tvl.ini"), before);
  Expect(1, {"--tcp", "host:1", "env", "get", "Other"});
}

TEST_F(TvlTest, PacksAreListedByNumber) {
  Configure("[Environments]\nUpdateDirectory=up");
  for (const char* name : {"upd12.exe", "upd9b|x;.exe", "upd123a.exe", "update.exe", "other7.exe"})
    folder.Write(std::string("store/up/") + name, "");
  EXPECT_EQ(Expect(0, {"packs", "upd12"}).out, "12   -  upd12.exe\n123  a  upd123a.exe\n");
  const ProcessResult all = Expect(0, {"--json", "packs", "upd"});
  EXPECT_TRUE(AreJsonLines(all.out)) << all.out;
  EXPECT_TRUE(Holds(all.out, R"({"number":12,"suffix":"","file":"upd12.exe"},{"number":123,"suffix":"a",)"))
      << all.out;
  EXPECT_EQ(Expect(0, {"packs", "none"}).out, "");
}

TEST_F(TvlTest, VersionsOfFiles) {
  folder.Write("work/v.txt", "about @build=110423\n@versione=5.3\n");
  folder.Write("work/none.txt", "nothing");
  EXPECT_EQ(Expect(0, {"version", "v.txt"}).out, "5.3 [11.04.23]  23/04/2011\n");
  EXPECT_EQ(Expect(0, {"--json", "version", "v.txt"}).out,
            "{\"command\":\"version\",\"file\":\"v.txt\",\"kind\":\"version file\",\"version\":\"5.3\","
            "\"build\":\"11.04.23\",\"date\":\"23/04/2011\",\"total\":53110423}\n");
  Expect(1, {"version", "none.txt"});
  Expect(1, {"version", "."});
  Expect(6, {"version", "absent"});
}

TEST_F(TvlTest, DoctorLeavesNothingBehind) {
  const auto before = ContentsOf(folder.Host());
  const ProcessResult healthy = Expect(0, {"doctor"});
  for (const char* check : {"locks", "deletion of a held file", "rename over a file", "time stamps", "space"})
    EXPECT_TRUE(Holds(healthy.out, check)) << healthy.out;
  EXPECT_FALSE(Holds(healthy.out, "  bad  ")) << healthy.out;
  const ProcessResult document = Expect(0, {"--json", "doctor", folder.Host("work")});
  EXPECT_TRUE(AreJsonLines(document.out)) << document.out;
  EXPECT_TRUE(Holds(document.out, R"({"check":"locks","ok":true,"needed":true,)")) << document.out;
  Expect(6, {"doctor", folder.Host("none")});
  Expect(1, {"doctor", folder.Host("store/tvl.ini")});
  Expect(1, {"doctor", "/proc"});
  EXPECT_TRUE(ContentsOf(folder.Host()) == before);
}

}  // namespace
