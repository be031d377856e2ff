#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "e2e/json_checker.h"
#include "e2e/tvl_runner.h"

namespace {

namespace fs = std::filesystem;

bool Holds(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST_F(TvlTest, ConfigurationIsLookedForInOrder) {
  for (const char* place : {"given", "variable", "here", "user", "home"})
    folder.Write(std::string(place) + ".ini",
                 "[TavolisFileSystem]\nDocumentRoot=" + folder.Host("store") + "\nShortName=" + place + "\n");
  folder.Make("work/xdg/tvl");
  folder.Make("work/home/.config/tvl");
  fs::rename(folder.Host("here.ini"), folder.Host("work/tvl.ini"));
  fs::rename(folder.Host("user.ini"), folder.Host("work/xdg/tvl/tvl.ini"));
  fs::rename(folder.Host("home.ini"), folder.Host("work/home/.config/tvl/tvl.ini"));
  ProcessStart start = Start({"--config", folder.Host("given.ini"), "info"});
  start.environment = {{"TVL_CONFIG", folder.Host("variable.ini")},
                       {"XDG_CONFIG_HOME", folder.Host("work/xdg")},
                       {"HOME", folder.Host("work/home")}};
  const auto expect = [&start](const std::string& name) {
    const ProcessResult result = RunProcess(start);
    EXPECT_TRUE(Holds(result.out, "Short name:         " + name + "\n")) << name << result.out << result.err;
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

TEST_F(TvlTest, WorkingDirectoryIsLookedForInOrder) {
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

// A store's path stands in its configuration as the library reads it, whatever is in it; or there is no
// store.
TEST_F(TvlTest, InitWritesAnyPathFaithfully) {
  folder.Make("stores/x");
  folder.Write("work/a", "a");
  for (const char* name :
       {"plain", "two words", " blanks ", "d$llar", "$", "%$A%", "100%", "semi;colon", "'quoted'",
        "\"quoted\"", "a=b", "[x,y]", "\xC3\xA0\xE0", "trailing$ ", "new/deep/er", "x/../up"}) {
    const std::string root = folder.Host("stores/" + std::string(name));
    Expect(0, {"init", root});
    Expect(0, {"--config", root + "/tvl.ini", "put", "a"});
    EXPECT_TRUE(fs::exists(root + "/a")) << root;
    Expect(1, {"init", root});
  }
  const Snapshot before = SnapshotOf(folder.Host());
  for (const std::string& name : {std::string("back\\slash"), std::string("line\nend"), std::string("tab\t"),
                                  std::string(200, 'l') + "/" + std::string(100, 'l'), std::string("a/none")})
    Expect(1, {"init", name});
  EXPECT_EQ(SnapshotOf(folder.Host()), before);
}

TEST_F(TvlTest, InitGivesTheModeOfTheFolder) {
  folder.Make("shared");
  chmod(folder.Host("shared").c_str(), 02775);
  const mode_t before = umask(077);
  Expect(0, {"init", folder.Host("shared")});
  umask(before);
  for (const char* name : {"tvl.ini", "tmp", "tmp/locks", "tmp/procs"}) {
    struct stat status = {};
    ASSERT_EQ(stat(folder.Host("shared/" + std::string(name)).c_str(), &status), 0) << name;
    EXPECT_EQ(status.st_mode & 0777U, S_ISDIR(status.st_mode) ? 0775U : 0664U) << name;
  }
}

TEST_F(TvlTest, HashIsWhatSha1sumChecks) {
  const std::vector<std::string> names = {"a",     "two  words", "back\\slash",        "new\nline",
                                          "[a,b]", "-x",         std::string(255, 'l')};
  std::vector<std::string> arguments = {"hash", "--"};
  for (const std::string& name : names) {
    folder.Write("work/" + name, name);
    arguments.push_back(name);
  }
  const ProcessResult result = Expect(0, arguments);
  EXPECT_TRUE(Holds(result.out, "86f7e437faa5a7fce15d1ddcb9eaeaea377667b8  a\n")) << result.out;
  ProcessStart check = {{"/usr/bin/sha1sum", "-c", "--strict"}};
  check.folder = folder.Host("work");
  check.input = result.out;
  const ProcessResult checked = RunProcess(check);
  EXPECT_EQ(checked.exit, 0) << checked.out << checked.err;
  const ProcessResult document = Expect(0, {"--json", "hash", "a"});
  EXPECT_EQ(document.out,
            "{\"command\":\"hash\",\"file\":\"a\",\"sha1\":\"86f7e437faa5a7fce15d1ddcb9eaeaea377667b8\","
            "\"size\":1}\n");
}

// Each command's document is JSON, also with names that are no UTF-8, and also after a failure.
TEST_F(TvlTest, DocumentsAreJson) {
  const std::string name = "q\"b\t\xE0\xED\xA0\x80.x";
  folder.Write("work/" + name, "12345");
  const std::vector<std::vector<std::string>> commands = {{"put", name},
                                                          {"get", name},
                                                          {"get", "-r", "."},
                                                          {"get", "none\xFF"},
                                                          {"put", name, name + "2", "a"},
                                                          {"config", "show"},
                                                          {"info"},
                                                          {"hash", name, "."},
                                                          {"init", "new"},
                                                          {"init", "new"},
                                                          {"-n", "put", "-r", "."},
                                                          {"--config", "none\xFE", "info"}};
  for (const std::vector<std::string>& command : commands) {
    std::vector<std::string> arguments = command;
    arguments.emplace_back("--json");
    const ProcessResult result = Tvl(arguments);
    EXPECT_TRUE(AreJsonLines(result.out)) << testing::PrintToString(command) << "\n"
                                          << result.out << result.err;
  }
  EXPECT_EQ(Expect(0, {"--json", "get", "-f", name}).out,
            "{\"command\":\"get\",\"remote\":\"q\\\"b\\t\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD.x\","
            "\"remote_hex\":"
            "\"71226209e0eda0802e78\",\"local\":\"q\\\"b\\t\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD."
            "x\",\"local_hex\":"
            "\"71226209e0eda0802e78\",\"result\":\"transferred\",\"size\":5}\n");
}

TEST_F(TvlTest, SettingsAndVariablesAreShown) {
  Configure("ZipOnTransfert=1\nFileCompare=time\nShortName=TheStore\n[Environments]\nBase=/b\nFull=$Base/x");
  const ProcessResult shown = Expect(0, {"config", "show"});
  for (const char* part : {"FileCompare:        time\n", "ZipOnTransfert:     yes\n", "Full = /b\\x\n",
                           "ShortName = TheStore\n"})
    EXPECT_TRUE(Holds(shown.out, part)) << part << shown.out;
  const ProcessResult info = Expect(0, {"--json", "info"});
  for (const std::string& part :
       {std::string("\"short_name\":\"TheStore\""), std::string("\"file_compare\":\"time\""),
        std::string("\"zip_on_transfert\":true"), "\"root\":\"" + folder.Host("store") + "\""})
    EXPECT_TRUE(Holds(info.out, part)) << part << info.out;
}

// A result that could not be written is a failure.
TEST_F(TvlTest, FullOutputIsAFailure) {
  const ProcessResult result =
      RunProcess({{"/bin/sh", "-c", std::string("exec ") + TVL_PROGRAM + " hash /etc/passwd > /dev/full"}});
  EXPECT_EQ(result.exit, 1);
  EXPECT_TRUE(Holds(result.err, "No space left on device"));
}

TEST_F(TvlTest, EveryCommandHasHelpWithExamples) {
  for (const std::vector<std::string>& command : std::vector<std::vector<std::string>>{
           {}, {"init"}, {"info"}, {"config", "show"}, {"get"}, {"put"}, {"hash"}}) {
    std::vector<std::string> arguments = command;
    arguments.emplace_back("--help");
    EXPECT_TRUE(Holds(Expect(0, arguments).out, "Examples:\n  tvl ")) << testing::PrintToString(command);
  }
  EXPECT_EQ(Expect(0, {"--version"}).out.rfind("tvl ", 0), 0U);
}

}  // namespace
