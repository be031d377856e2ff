#include <gtest/gtest.h>

#include "server/raw_client.h"
#include "server/server_process.h"
#include "support/process.h"

// The command-line client in front of a server.

namespace {

using std::string;

// With files that travel as they are, and compressed ones.
class CommandOverTcp : public testing::TestWithParam<bool> {
 protected:
  [[nodiscard]] ProcessResult Tvl(const std::vector<string>& arguments) const {
    ProcessStart start = {{TVL_PROGRAM, "--tcp", "127.0.0.1:" + std::to_string(server_.Port()), "--work",
                           work_.Host(), "--json"}};
    start.command.insert(start.command.end(), arguments.begin(), arguments.end());
    return RunProcess(start);
  }

  ServedStore store_{GetParam()};
  ServerProcess server_{store_};
  TempFolder work_;
};

INSTANTIATE_TEST_SUITE_P(Zip, CommandOverTcp, testing::Bool());

TEST_P(CommandOverTcp, MovesFilesAndHoldsLocks) {
  const string bytes = string(100000, 'a') + "end";
  work_.Write("a.txt", bytes);
  EXPECT_NE(Tvl({"put", "a.txt"}).out.find("\"transferred\""), string::npos);
  EXPECT_TRUE(store_.Read("a.txt") == bytes);
  EXPECT_NE(Tvl({"get", "a.txt", "b.txt"}).out.find("\"transferred\""), string::npos);
  EXPECT_TRUE(work_.Read("b.txt") == bytes);
  EXPECT_EQ(Tvl({"get", "a.txt", "b.txt"}).out.find("\"transferred\""), string::npos);
  EXPECT_EQ(Tvl({"get", "missing"}).exit, 6);
  const ProcessResult info = Tvl({"info"});
  EXPECT_EQ(info.exit, 0);
  EXPECT_NE(info.out.find("\"short_name\":\"short\",\"long_name\":\"long\",\"instance\":1"), string::npos)
      << info.out;
  EXPECT_EQ(Tvl({"lock", "ORD1", "--", "sh", "-c", "exit 7"}).exit, 7);
  EXPECT_EQ(Tvl({"unlock", "ORD1"}).exit, 0);
  const RawClient other = RawClient::Entered(server_.Port());
  EXPECT_TRUE(other.Ask("LORD1").starts_with("1\t"));
  EXPECT_EQ(Tvl({"lock", "ORD1", "--", "true"}).exit, 4);
}

TEST_P(CommandOverTcp, SaysWhatThereIsNot) {
  const std::vector<string> rows[] = {{"who"},        {"locks"},           {"table", "info", "t"},    {"ls"},
                                      {"mkdir", "d"}, {"env", "get", "K"}, {"sync", "pull", ".", "."}};
  for (const auto& row : rows) {
    const ProcessResult result = Tvl(row);
    EXPECT_EQ(result.exit, 1) << row[0];
    EXPECT_NE(result.out.find("\"code\":1,"), string::npos) << row[0] << ": " << result.out;
  }
}

}  // namespace
