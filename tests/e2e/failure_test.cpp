#include <csignal>
#include <filesystem>
#include <string>

#include "e2e/tvl_runner.h"
#include "support/mounted_folder.h"

namespace {

TEST_F(TvlTest, ExitStatusTellsTheKindOfFailure) {
  folder.Write("store/d/a", "a");
  folder.Write("work/file", "");
  folder.Write("work/last", "");
  folder.Write("rootless.ini", "[TavolisFileSystem]\nShortName=X\n");
  folder.Write("wrong.ini", "[TavolisFileSystem]\nDocumentRoot=/none/of/that\n");
  folder.Write("tmpless.ini", "[Environments]\nDocumentRoot=" + folder.Host("store") + "\n");
  const std::string name(250, 'n');
  folder.Write("work/" + name, "x");
  folder.Write("work/t/" + std::string(120, 'a') + "/" + std::string(120, 'b'), "x");
  const Words too_long = {"more than 259 bytes", "(code 2"};
  const std::string rootless = folder.Host("rootless.ini");
  const std::string wrong = folder.Host("wrong.ini");
  ExpectAll({
      {1, {"put", name}, too_long},
      {1, {"put", "file", "--as", name}, too_long},
      {1, {"put", "-r", "t"}, too_long},
      {1, {"get", std::string(300, 'g')}, too_long},
      {2, {}, {"Usage"}},
      {2, {"frob"}, {"frob"}},
      {2, {"get"}, {"NAME"}},
      {2, {"-q", "-v", "get", "a"}, {"exclude"}},
      {2, {"--tcp", "::1:40", "info"}, {"brackets"}},
      {2, {"--tcp", "host:0", "info"}, {"port"}},
      {2, {"--tcp", "host:65536", "info"}, {"port"}},
      {2, {"--tcp", "host:1", "--config", "x", "info"}, {"exclude"}},
      {1, {"get", "d"}, {"-r"}},
      {1, {"-n", "--tcp", "host:1", "get", "a"}, {"(code 1)"}},
      {1, {"get", "d/a", "--as", "file/b"}, {"Not a directory: " + folder.Host("work/file/b")}},
      {5, {"--tcp", "[::1]:1", "info"}, {"[::1]:1: the server cannot be reached (code 10)"}},
      {5, {"--config", "none.ini", "info"}, {"No such file or directory: none.ini"}},
      {5, {"--config", ".", "info"}, {"Is a directory: ."}},
      {5, {"--config", rootless, "info"}, {rootless + ": key DocumentRoot is missing"}},
      {5, {"--config", rootless, "config", "show"}, {"(code 3)"}},
      {5, {"--config", wrong, "get", "a"}, {"(code 4): No such file or directory: /none/of/that"}},
      {5, {"--config", wrong, "-n", "get", "a"}, {"(code 4)"}},
      {5, {"--config", folder.Host("tmpless.ini"), "info"}, {"key TmpDir is missing"}},
      {6,
       {"get", "none"},
       {"get none: cannot be reached on the store (code 20): No such file or directory: " +
        folder.Host("store/none")}},
      {6, {"get", "d/a/b"}, {"Not a directory"}},
      {6, {"put", "none"}, {"No such file or directory: " + folder.Host("work/none")}},
      {6, {"hash", "none"}, {"hash none: "}},
      {1, {"get", "d/a", "none", "d"}, {"get none"}},
      {3, {"put", "file", "none", "last"}, {"put none"}},
  });
  EXPECT_FALSE(folder.Exists("work/none"));
  EXPECT_TRUE(folder.Exists("store/last")) << "one failure does not stop the others";
}

TEST_F(TvlTest, FullDiskIsNamed) {
  const MountedFolder small(folder.Host("small"), "size=256k");
  if (!small.IsMounted()) GTEST_SKIP() << "needs the right to mount";
  folder.Write("store/big", std::string(1000000, 'x'));
  folder.Write("store/tiny", "tiny");
  for (const std::string zip : {"0", "1"}) {
    Configure("ZipOnTransfert=" + zip);
    const Words command = {"--work", small.Path(), "get", "tiny", "big", "tiny"};
    ExpectJson(1, command, {zip == "0" ? "\"code\":22," : "\"code\":28,"});
    EXPECT_EQ(folder.Read("small/tiny"), "tiny");
    std::filesystem::remove(folder.Host("small/big"));
    Expect(1, command, {"): No space left on device: " + folder.Host("small/big")});
    std::filesystem::remove(folder.Host("small/big"));
  }
}

TEST_F(TvlTest, LimitOfFileSizesFailsOneFileAndSparesCommandsUnderALock) {
  folder.Write("work/big", std::string(100000, 'x'));
  ProcessStart start = Start({"put", "big"});
  const Words shell = {"/bin/sh", "-c", "ulimit -f 100; exec \"$@\"", "sh"};
  start.command.insert(start.command.begin(), shell.begin(), shell.end());
  const ProcessResult result = RunProcess(start);
  EXPECT_EQ(result.exit, 1);
  EXPECT_NE(result.err.find("File too large"), std::string::npos) << result.err;
  Expect(128 + SIGXFSZ, {"lock", "A", "--", "sh", "-c", "kill -XFSZ $$"});
}

// A result that could not be written is a failure.
TEST_F(TvlTest, FullOutputIsAFailure) {
  const ProcessResult result =
      RunProcess({{"/bin/sh", "-c", std::string("exec ") + TVL_PROGRAM + " hash /etc/passwd > /dev/full"}});
  EXPECT_EQ(result.exit, 1);
  EXPECT_NE(result.err.find("No space left on device"), std::string::npos) << result.err;
}

// What is told of all files is more than the pipe and the program's own buffer hold: as long as nobody reads,
// the program stands in the middle of its work.
TEST_F(TvlTest, FirstSignalEndsAfterTheFileAndTheSecondAtOnce) {
  constexpr int kFiles = 500;
  for (int number = 0; number < kFiles; ++number)
    folder.Write("work/t/" + std::string(100, 'n') + std::to_string(number), "x");
  const struct {
    const char* option;
    int first, second, exit;
  } rows[] = {{"-v", SIGINT, 0, 130},
              {"-v", SIGTERM, 0, 130},
              {"--json", SIGINT, 0, 130},
              {"-v", SIGINT, SIGTERM, 128 + SIGTERM}};
  for (const auto& row : rows) {
    std::filesystem::remove_all(folder.Host("store/t"));
    ProcessStart start = Start({row.option, "put", "-r", "t"});
    start.narrow_output = true;
    Process process(start);
    ASSERT_TRUE(process.AwaitOutput());
    process.Signal(row.first);
    ASSERT_TRUE(process.ReadErrorsUntil("stopping after this file"));
    if (row.second != 0) process.Signal(row.second);
    const ProcessResult result = process.Finish();
    EXPECT_EQ(result.exit, row.exit);
    const std::size_t stored = ContentsOf(folder.Host("store/t")).size();
    EXPECT_LT(stored, kFiles);
    if (row.second != 0) continue;
    const std::string count = std::to_string(stored);
    const bool json = row.option == std::string("--json");
    const std::string sum =
        json ? "\"interrupted\":true,\"exit\":130}}\n"
             : "interrupted: " + count + " files transferred (" + count + " B), 0 already the same\n";
    EXPECT_TRUE(result.out.ends_with(sum)) << result.out.substr(result.out.size() - 200) << result.err;
    EXPECT_TRUE(!json || AreJsonLines(result.out)) << result.out;
  }
}

}  // namespace
