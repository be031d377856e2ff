#include <csignal>
#include <filesystem>
#include <string>

#include "e2e/json_checker.h"
#include "e2e/tvl_runner.h"

namespace {

// What -v tells of all files is more than the pipe and the program's own buffer hold: as long as nobody
// reads, the program stands in the middle of its work.
constexpr int kFiles = 500;

class InterruptTest : public TvlTest {
 protected:
  InterruptTest() {
    for (int number = 0; number < kFiles; ++number)
      folder.Write("work/t/" + std::string(100, 'n') + std::to_string(number), "x");
  }

  [[nodiscard]] ProcessStart StartPut(const std::string& option) const {
    ProcessStart start = Start({option, "put", "-r", "t"});
    start.narrow_output = true;
    return start;
  }
};

TEST_F(InterruptTest, FirstSignalEndsAfterTheFile) {
  for (const int signal : {SIGINT, SIGTERM}) {
    std::filesystem::remove_all(folder.Host("store/t"));
    Process process(StartPut("-v"));
    ASSERT_TRUE(process.AwaitOutput());
    process.Signal(signal);
    ASSERT_TRUE(process.ReadErrorsUntil("stopping after this file"));
    const ProcessResult result = process.Finish();
    EXPECT_EQ(result.exit, 130);
    const std::size_t sum = result.out.rfind("interrupted: ");
    ASSERT_NE(sum, std::string::npos) << result.err;
    const auto stored = static_cast<int>(ContentsOf(folder.Host("store/t")).size());
    EXPECT_LT(stored, kFiles);
    EXPECT_EQ(result.out.substr(sum), "interrupted: " + std::to_string(stored) + " files transferred (" +
                                          std::to_string(stored) + " B), 0 already the same\n");
  }
}

TEST_F(InterruptTest, SummaryOfLinesTellsIt) {
  Process process(StartPut("--json"));
  ASSERT_TRUE(process.AwaitOutput());
  process.Signal(SIGINT);
  ASSERT_TRUE(process.ReadErrorsUntil("stopping after this file"));
  const ProcessResult result = process.Finish();
  EXPECT_EQ(result.exit, 130);
  EXPECT_TRUE(AreJsonLines(result.out));
  EXPECT_NE(result.out.find("\"interrupted\":true,\"exit\":130"), std::string::npos);
}

TEST_F(InterruptTest, SecondSignalEndsAtOnce) {
  Process process(StartPut("-v"));
  ASSERT_TRUE(process.AwaitOutput());
  process.Signal(SIGINT);
  ASSERT_TRUE(process.ReadErrorsUntil("stopping after this file"));
  process.Signal(SIGTERM);
  EXPECT_EQ(process.Finish().exit, 128 + SIGTERM);
}

}  // namespace
