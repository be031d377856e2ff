#include <filesystem>
#include <sstream>
#include <string>
#include <utility>

#include "e2e/tvl_runner.h"
#include "versions/executable_file.h"

namespace {

namespace fs = std::filesystem;

TEST_F(TvlTest, SearchesConfigurationInOrder) {
  for (const auto& [name, file] : {std::pair{"given", "given.ini"},
                                   {"variable", "variable.ini"},
                                   {"here", "work/tvl.ini"},
                                   {"user", "work/xdg/tvl/tvl.ini"},
                                   {"home", "work/home/.config/tvl/tvl.ini"}})
    folder.Write(file,
                 "[TavolisFileSystem]\nDocumentRoot=" + folder.Host("store") + "\nShortName=" + name + "\n");
  ProcessStart start = Start({"--config", folder.Host("given.ini"), "info"});
  start.environment = {{"TVL_CONFIG", folder.Host("variable.ini")},
                       {"XDG_CONFIG_HOME", folder.Host("work/xdg")},
                       {"HOME", folder.Host("work/home")}};
  const auto expect = [&start](const std::string& name) {
    const ProcessResult result = RunProcess(start);
    EXPECT_NE(result.out.find("Short name:         " + name + "\n"), std::string::npos) << name << result.err;
  };
  expect("given");
  start.command = {TVL_PROGRAM, "info"};
  expect("variable");
  start.environment["TVL_CONFIG"] = "";
  expect("here");
  fs::remove(folder.Host("work/tvl.ini"));
  expect("user");
  start.environment.erase("XDG_CONFIG_HOME");
  expect("home");
}

TEST_F(TvlTest, SearchesWorkingDirectoryInOrder) {
  folder.Write("store/a", "a");
  ProcessStart start = Start({"get", "a"});
  RunProcess(start);
  EXPECT_TRUE(folder.Exists("work/a"));
  start.environment["TVL_WORK"] = "variable";
  RunProcess(start);
  EXPECT_TRUE(folder.Exists("work/variable/a"));
  start.command = {TVL_PROGRAM, "get", "a", "--work", folder.Host("given")};
  RunProcess(start);
  EXPECT_TRUE(folder.Exists("given/a"));
}

TEST_F(TvlTest, HashOutputWorksWithSha1sum) {
  Words arguments = {"hash", "--"};
  for (const std::string& name : Words{"a", "two  words", "back\\slash", "new\nline", "[a,b]", "-x"}) {
    folder.Write("work/" + name, name);
    arguments.push_back(name);
  }
  ProcessStart check = {{"/usr/bin/sha1sum", "-c", "--strict"}};
  check.folder = folder.Host("work");
  check.input = Expect(0, arguments, {"86f7e437faa5a7fce15d1ddcb9eaeaea377667b8  a\n"}).out;
  const ProcessResult checked = RunProcess(check);
  EXPECT_EQ(checked.exit, 0) << checked.out << checked.err;
}

TEST_F(TvlTest, AnyNameIsWrittenAsJson) {
  const std::string name = "q\"b\t\x01\xE0\xED\xA0\x80\xC0\x80\xF4\x90\x80\x80\xC3\xA0.x";
  folder.Write("work/" + name, "12345");
  std::string shown = "q\\\"b\\t\\u0001";
  for (int bytes = 0; bytes < 10; ++bytes) shown += "\xEF\xBF\xBD";
  shown += "\xC3\xA0.x";
  const std::string hex = "7122620901e0eda080c080f4908080c3a02e78";
  EXPECT_EQ(ExpectJson(0, {"put", name}),
            "{\"command\":\"put\",\"remote\":\"" + shown + "\",\"remote_hex\":\"" + hex + "\",\"local\":\"" +
                shown + "\",\"local_hex\":\"" + hex + "\",\"result\":\"transferred\",\"size\":5}\n");
  ExpectJson(6, {"get", "none\xFF"}, {"\"subject_hex\":\"6e6f6e65ff\""});
}

TEST_F(TvlTest, SettingsAndVariablesAreShown) {
  Configure("ZipOnTransfert=1\nFileCompare=time\nShortName=TheStore\n[Environments]\nBase=/b\nFull=$Base/x");
  Expect(0, {"config", "show"},
         {"FileCompare:        time\n", "ZipOnTransfert:     yes\n",
          "SafeOnTransfert:    0, written in place\n", "Full = /b\\x\n", "ShortName = TheStore\n"});
  ExpectJson(0, {"info"},
             {R"("short_name":"TheStore")", R"("file_compare":"time")", R"("zip_on_transfert":true)",
              "\"root\":\"" + folder.Host("store") + "\""});
}

TEST_F(TvlTest, EveryCommandHasHelpWithExamplesForEightyColumns) {
  EXPECT_GT(AllCommands().size(), 30U);
}

TEST_F(TvlTest, SuggestsTheCommandThatWasMeant) {
  ExpectAll({{2, {"lst"}, {"tvl: unknown command 'lst' (did you mean 'ls'?)\n"}},
             {2, {"-q", "table", "raed", "x"}, {"unknown command 'raed' (did you mean 'read'?)\n"}},
             {2, {"frobnicate"}, {"unknown command 'frobnicate'\n"}},
             {2, {"ls", "--lnog"}, {"--lnog"}}});
}

TEST_F(TvlTest, ReportsItsOwnVersions) {
  EXPECT_EQ(Expect(0, {"--version"}).out.rfind("tvl ", 0), 0U);
  const std::string versions = Expect(0, {"version"}, {"\nlibrary ", "\ntable engine ", " (SQLite 3."}).out;
  EXPECT_EQ(versions.find("not available"), std::string::npos);
}

TEST_F(TvlTest, ValuesAreReadBackUnchanged) {
  Configure("; a comment\n[Environments]\nOther=1");
  for (const char* value : {"plain", "", " a ", "\"x\"", "'y", "a;b=c", "$X\\y", "\xC3\xA8\xE8"}) {
    Expect(0, {"env", "set", "Name", value});
    EXPECT_EQ(Expect(0, {"env", "get", "NAME"}).out, value + std::string("\n"));
  }
  const std::string before = folder.Read("store/tvl.ini");
  EXPECT_NE(before.find("; a comment\n"), std::string::npos);
  ExpectAll({{6, {"env", "get", "none"}},
             {2, {"env", "set", "a=b", "c"}},
             {2, {"env", "set", "", "c"}},
             {2, {"env", "set", "[x", "c"}},
             {2, {"env", "set", "x", "line\nend"}},
             {2, {"env", "set", "x", std::string(2048, 'l')}},
             {0, {"-n", "env", "set", "Other", "2"}},
             {0, {"-n", "env", "unset", "Other"}},
             {6, {"env", "unset", "none"}},
             {7, {"env", "set", "documentROOT", "/tmp"}},
             {7, {"env", "unset", "TmpDir"}},
             {1, {"--tcp", "host:1", "env", "get", "Other"}}});
  EXPECT_EQ(folder.Read("store/tvl.ini"), before);
  EXPECT_EQ(Expect(0, {"env", "unset", "name"}, {"name: deleted\n"}).exit, 0);
  EXPECT_EQ(Expect(0, {"env", "list"}).out, "Other  1\n");
}

TEST_F(TvlTest, PacksAreListedByNumber) {
  Configure("[Environments]\nUpdateDirectory=up");
  for (const char* name : {"upd12.exe", "upd9b|x;.exe", "upd123a.exe", "update.exe", "other7.exe"})
    folder.Write(std::string("store/up/") + name, "");
  EXPECT_EQ(Expect(0, {"packs", "upd12"}).out, "12   -  upd12.exe\n123  a  upd123a.exe\n");
  ExpectJson(0, {"packs", "upd"},
             {R"({"number":12,"suffix":"","file":"upd12.exe"},{"number":123,"suffix":"a",)"});
  EXPECT_EQ(Expect(0, {"packs", "none"}).out, "");
}

TEST_F(TvlTest, VersionsOfFiles) {
  folder.Write("work/v.txt", "about @build=110423\n@versione=5.3\n");
  folder.Write("work/none.txt", "nothing");
  folder.Write("work/app.exe", ExecutableFile{.file_version = "6.1.0.0", .special_build = "120514"}.Bytes());
  ExpectAll({{0, {"version", "v.txt"}, {"5.3 [11.04.23]  23/04/2011\n"}},
             {0, {"version", "app.exe"}, {"6.1 [12.05.14]  14/05/2012\n"}},
             {1, {"version", "none.txt"}, {"contains no version information"}},
             {1, {"version", "."}, {"is not a regular file"}},
             {6, {"version", "absent"}, {"No such file"}}});
}

}  // namespace
