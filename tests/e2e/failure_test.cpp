#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "e2e/json_checker.h"
#include "e2e/tvl_runner.h"

namespace {

constexpr uid_t kNobody = 65534;

bool Holds(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST_F(TvlTest, ExitStatusTellsTheKindOfFailure) {
  folder.Write("store/d/a", "a");
  folder.Write("work/file", "");
  folder.Write("rootless.ini", "[TavolisFileSystem]\nShortName=X\n");
  folder.Write("wrong.ini", "[TavolisFileSystem]\nDocumentRoot=/none/of/that\n");
  folder.Write("tmpless.ini", "[Environments]\nDocumentRoot=" + folder.Host("store") + "\n");
  const std::string rootless = folder.Host("rootless.ini");
  const std::string wrong = folder.Host("wrong.ini");
  struct Case {
    int exit;
    std::vector<std::string> arguments;
    std::string message;
  };
  const std::vector<Case> cases = {
      {2, {}, "Usage"},
      {2, {"frob"}, "frob"},
      {2, {"get"}, "NAME"},
      {2, {"-q", "-v", "get", "a"}, "exclude"},
      {2, {"--tcp", "::1:40", "info"}, "brackets"},
      {2, {"--tcp", "host:0", "info"}, "port"},
      {2, {"--tcp", "host:65536", "info"}, "port"},
      {2, {"--tcp", "host:1", "--config", "x", "info"}, "exclude"},
      {1, {"get", "d"}, "-r"},
      {1, {"-n", "--tcp", "host:1", "get", "a"}, "(code 1)"},
      {1, {"get", "d/a", "file/b"}, "Not a directory: " + folder.Host("work/file/b")},
      {5, {"--tcp", "127.0.0.1:1", "get", "a"}, "(code 10)"},
      {5, {"--tcp", "[::1]:1", "info"}, "[::1]:1: the server cannot be reached (code 10)"},
      {5, {"--config", "none.ini", "info"}, "No such file or directory: none.ini"},
      {5, {"--config", ".", "info"}, "Is a directory: ."},
      {5, {"--config", rootless, "info"}, rootless + ": key DocumentRoot is missing"},
      {5, {"--config", rootless, "config", "show"}, "(code 3)"},
      {5, {"--config", wrong, "get", "a"}, "(code 4): No such file or directory: /none/of/that"},
      {5, {"--config", wrong, "-n", "get", "a"}, "(code 4)"},
      {5, {"--config", folder.Host("tmpless.ini"), "info"}, "key TmpDir is missing"},
      {6,
       {"get", "none"},
       "get none: cannot be reached on the store (code 20): No such file or directory: " +
           folder.Host("store/none")},
      {6, {"get", "d/a/b"}, "Not a directory"},
      {6, {"put", "none"}, "No such file or directory: " + folder.Host("work/none")},
      {6, {"hash", "none"}, "hash none: "},
      {1, {"get", "d/a", "none", "d"}, "get none"},
  };
  for (const Case& each : cases) {
    const ProcessResult result = Expect(each.exit, each.arguments);
    EXPECT_TRUE(Holds(result.err, each.message)) << each.message << "\n" << result.err;
  }
  EXPECT_FALSE(folder.Exists("work/none"));
}

// With one failure among several the others are done all the same.
TEST_F(TvlTest, OneFailureDoesNotStopTheOthers) {
  folder.Write("work/a", "a");
  folder.Write("work/c", "c");
  Expect(6, {"put", "a", "none", "c"});
  EXPECT_TRUE(folder.Exists("store/a") && folder.Exists("store/c"));
}

TEST_F(TvlTest, PathsThatDoNotFitAreNamed) {
  const std::string name(250, 'n');
  folder.Write("work/" + name, "x");
  folder.Write("work/short", "x");
  folder.Write("work/t/" + std::string(120, 'a') + "/" + std::string(120, 'b'), "x");
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {"put", name}, {"put", "short", name}, {"put", "-r", "t"}, {"get", std::string(300, 'g')}}) {
    const ProcessResult result = Expect(1, arguments);
    EXPECT_TRUE(Holds(result.err, "more than 259 bytes")) << result.err;
    EXPECT_TRUE(Holds(result.err, "(code 2")) << result.err;
  }
}

TEST_F(TvlTest, FilesOfOthersStayClosed) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to be somebody else";
  folder.Write("store/secret", "secret");
  folder.Write("store/open", "open");
  chmod(folder.Host().c_str(), 0755);
  chmod(folder.Host("work").c_str(), 0777);
  chmod(folder.Host("store/secret").c_str(), 0600);
  ProcessStart start = Start({"get", "secret", "open", "open"});
  start.user = kNobody;
  const ProcessResult result = RunProcess(start);
  if (result.exit == kCannotStart) GTEST_SKIP() << "the build's folder is closed to others";
  EXPECT_EQ(result.exit, 1);
  EXPECT_EQ(result.err, "tvl: get secret: copying failed (code 22): Permission denied: " +
                            folder.Host("store/secret") + "\n");
  EXPECT_EQ(folder.Read("work/open"), "open");
}

class Mount {
 public:
  explicit Mount(const std::string& path) : path_(path) {
    mounted_ = mount("tmpfs", path_.c_str(), "tmpfs", 0, "size=256k") == 0;
  }
  ~Mount() {
    if (mounted_) umount2(path_.c_str(), MNT_DETACH);
  }
  Mount(const Mount&) = delete;
  Mount& operator=(const Mount&) = delete;
  [[nodiscard]] bool Mounted() const { return mounted_; }

 private:
  std::string path_;
  bool mounted_;
};

TEST_F(TvlTest, FullDiskIsNamed) {
  folder.Make("small");
  const Mount small(folder.Host("small"));
  if (!small.Mounted()) GTEST_SKIP() << "needs the right to mount";
  folder.Write("store/big", std::string(1000000, 'x'));
  folder.Write("store/tiny", "tiny");
  for (const char* zip : {"0", "1"}) {
    Configure(std::string("ZipOnTransfert=") + zip);
    const ProcessResult result =
        Expect(1, {"--json", "--work", folder.Host("small"), "get", "tiny", "big", "tiny"});
    EXPECT_TRUE(Holds(result.err, "): No space left on device: " + folder.Host("small/big"))) << result.err;
    EXPECT_TRUE(Holds(result.out, zip[0] == '0' ? "\"code\":22," : "\"code\":28,")) << result.out;
    EXPECT_TRUE(AreJsonLines(result.out));
    EXPECT_EQ(folder.Read("small/tiny"), "tiny");
    std::filesystem::remove(folder.Host("small/big"));
  }
}

}  // namespace
