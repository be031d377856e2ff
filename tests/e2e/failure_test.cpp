#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "e2e/tvl_runner.h"
#include "support/mounted_folder.h"

namespace {

namespace fs = std::filesystem;

TEST_F(TvlTest, ExitStatusDependsOnFailure) {
  folder.Write("store/d/a", "a");
  folder.Write("work/file", "");
  folder.Write("work/last", "");
  folder.Write("rootless.ini", "[TavolisFileSystem]\nShortName=X\n");
  folder.Write("wrong.ini", "[TavolisFileSystem]\nDocumentRoot=/none/of/that\n");
  folder.Write("tmpless.ini", "[Environments]\nDocumentRoot=" + folder.Host("store") + "\n");
  const std::string name(250, 'n');
  folder.Write("work/" + name, "x");
  folder.Write("work/t/" + std::string(120, 'a') + "/" + std::string(120, 'b'), "x");
  const Words too_long = {"longer than 259 bytes", "(code 2"};
  const std::string rootless = folder.Host("rootless.ini");
  const std::string wrong = folder.Host("wrong.ini");
  ExpectAll({
      {1, {"put", name}, too_long},
      {1, {"put", "file", "--as", name}, too_long},
      {1, {"put", "-r", "t"}, too_long},
      {1, {"get", std::string(300, 'g')}, too_long},
      {2, {}, {"Usage"}},
      {2, {"frob"}, {"frob"}},
      {2, {"get"}, {"tvl: get: NAME is required\ntvl: hint: try 'tvl get --help'\n"}},
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
      {5, {"--config", rootless, "info"}, {rootless + ": DocumentRoot is missing"}},
      {5, {"--config", rootless, "config", "show"}, {"(code 3)"}},
      {5, {"--config", wrong, "get", "a"}, {"(code 4): No such file or directory: /none/of/that"}},
      {5, {"--config", wrong, "-n", "get", "a"}, {"(code 4)"}},
      {5, {"--config", folder.Host("tmpless.ini"), "info"}, {"TmpDir is missing"}},
      {6,
       {"get", "none"},
       {"get none: cannot be accessed in the store (code 20): No such file or directory: " +
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

TEST_F(TvlTest, FullDiskIsReported) {
  const MountedFolder small(folder.Host("small"), "size=256k");
  if (!small.IsMounted()) GTEST_SKIP() << "needs the right to mount";
  folder.Write("store/big", std::string(1000000, 'x'));
  folder.Write("store/tiny", "tiny");
  for (const std::string zip : {"0", "1"}) {
    Configure("ZipOnTransfert=" + zip);
    const Words command = {"--work", small.Path(), "get", "tiny", "big", "tiny"};
    ExpectJson(1, command, {zip == "0" ? "\"code\":22," : "\"code\":28,"});
    EXPECT_EQ(folder.Read("small/tiny"), "tiny");
    fs::remove(folder.Host("small/big"));
    Expect(1, command, {"): No space left on device: " + folder.Host("small/big")});
    fs::remove(folder.Host("small/big"));
  }
}

TEST_F(TvlTest, FileSizeLimitFailsOneFileButNotLockedCommands) {
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

// The output for all files is larger than the pipe and the program's own buffer, so the program blocks in the
// middle of its work until someone reads.
TEST_F(TvlTest, FirstSignalEndsAfterTheFileAndTheSecondAtOnce) {
  constexpr int kFiles = 1500;  // more than one group, whose files are reported together
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
    fs::remove_all(folder.Host("store/t"));
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
             : "interrupted: " + count + " files transferred (1.0 kB), 0 already the same\n";
    EXPECT_TRUE(result.out.ends_with(sum)) << result.out.substr(result.out.size() - 200) << result.err;
    EXPECT_TRUE(!json || AreJsonLines(result.out)) << result.out;
  }
}

// The store's own files and files outside it are not changed; with -n nothing is touched at all.
TEST_F(TvlTest, OwnFilesAndOutsidePlacesAreProtected) {
  for (const char* name : {"work/file", "work/tvl.ini", "work/d/tvl.ini", "work/links/notes",
                           "work/links/out/x", "work/tmp/x", "store/docs/a", "outside/kept"})
    folder.Write(name, name);
  fs::create_directory_symlink("../outside", folder.Host("store/out"));
  fs::create_directory_symlink(folder.Host("store/docs"), folder.Host("store/in"));
  fs::create_symlink(folder.Host("outside/key"), folder.Host("store/notes"));
  fs::create_hard_link(folder.Host("store/tvl.ini"), folder.Host("store/docs/other"));
  const std::vector<Words> rows = {{"put", "tvl.ini"},
                                   {"put", "-f", "file", "--as", "docs/../tvl.ini"},
                                   {"put", "file", "--as", "tvl.ini.lock"},
                                   {"put", "file", "--as", "docs/other"},
                                   {"put", "file", "--as", "tmp/locks/dtlocks.dat"},
                                   {"put", "-r", "tmp"},
                                   {"put", "-r", "d", "--as", "."},
                                   {"put", "file", "--as", "notes"},
                                   {"put", "file", "--as", "out/x"},
                                   {"put", "file", "--as", "../outside/kept"},
                                   {"put", "-r", "links", "--as", "."},
                                   {"cp", "docs/a", "tvl.ini"},
                                   {"cp", "docs/a", "tmp"},
                                   {"cp", "docs/a", "out"},
                                   {"rm", "tvl.ini"},
                                   {"rm", "-r", "tmp"},
                                   {"mv", "tvl.ini", "x"},
                                   {"mv", "tmp/locks", "x"},
                                   {"mv", "docs/a", "tmp"},
                                   {"mkdir", "tmp/x"},
                                   {"table", "create", "tmp/x", "--key1", "1", "--schema", "x-D1"},
                                   {"table", "delete", "tmp/locks/dtlocks.dat", "x"},
                                   {"sync", "push", ".", "d"},
                                   {"sync", "push", ".", "links"}};
  Tree before = SnapshotOf(folder.Host());
  for (Words row : rows) Expect(3, (row.insert(row.begin(), "-n"), row));
  EXPECT_EQ(SnapshotOf(folder.Host()), before);
  before = ContentsOf(folder.Host());
  for (const Words& row : rows) {
    Expect(3, row);
    EXPECT_EQ(ContentsOf(folder.Host()), before) << testing::PrintToString(row);
  }
  ExpectAll({{0, {"get", "tvl.ini", "--as", "copy"}},
             {0, {"put", "file", "--as", "in/x"}},
             {0, {"put", "--follow", "-r", "links", "--as", "."}},
             {0, {"sync", "push", "--follow", ".", "links"}}});
  EXPECT_EQ(folder.Read("outside/key"), "work/links/notes");
  EXPECT_EQ(folder.Read("outside/x"), "work/links/out/x");
}

// Two unreadable files of the same size have the same signature.
TEST_F(TvlTest, UnreadableFilesAreNotTheSame) {
  if (geteuid() != 0) GTEST_SKIP() << "needs the right to become another user";
  for (const std::string side : {"store/", "work/"}) {
    folder.Write(side + "d/a", side.substr(0, 4));
    chmod(folder.Host(side + "d/a").c_str(), 0);
  }
  for (const auto& entry : fs::recursive_directory_iterator(folder.Host()))
    if (entry.is_directory()) chmod(entry.path().c_str(), 0777);
  chmod(folder.Host().c_str(), 0777);
  for (const Words& arguments : std::vector<Words>{
           {"put", "d/a"}, {"-n", "get", "d/a"}, {"get", "-r", "d"}, {"sync", "push", "d", "d"}}) {
    ProcessStart start = Start(arguments);
    start.command.insert(start.command.begin(), {"/usr/bin/setpriv", "--reuid=65534", "--clear-groups"});
    const ProcessResult result = RunProcess(start);
    EXPECT_EQ(result.exit, 1) << testing::PrintToString(arguments) << result.out << result.err;
    EXPECT_NE(result.err.find("cannot be read: Permission denied"), std::string::npos) << result.err;
  }
}

}  // namespace
