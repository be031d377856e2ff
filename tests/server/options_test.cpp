#include "server/options.h"

#include <gtest/gtest.h>

#include <optional>

#include "server/server_process.h"
#include "support/process.h"

namespace {

using std::string;
using tvl::server::Options;

std::optional<Options> Parsed(std::vector<string> words) {
  words.insert(words.begin(), {"tvlserver", "--config", "/dev/null"});
  std::vector<char*> arguments;
  for (string& word : words) arguments.push_back(word.data());
  Options options;
  testing::internal::CaptureStderr();
  const int code = tvl::server::ParseOptions(static_cast<int>(arguments.size()), arguments.data(), options);
  const string said = testing::internal::GetCapturedStderr();
  EXPECT_EQ(said.empty(), code < 0) << said;
  EXPECT_TRUE(code < 0 || code == 2) << code;
  return code < 0 ? std::optional(options) : std::nullopt;
}

TEST(Options, AddressesAreTakenApart) {
  const struct {
    string text, host, port;
  } rows[] = {{"h2:2", "h2", "2"},           {":2", "127.0.0.1", "2"}, {"2", "127.0.0.1", "2"},
              {"[::]:65535", "::", "65535"}, {"[::1]", "::1", "7440"}, {"h:0", "h", "0"}};
  for (const auto& row : rows) {
    const std::optional<Options> options = Parsed({"--listen", row.text});
    ASSERT_TRUE(options.has_value()) << row.text;
    EXPECT_EQ(options->host + " " + options->port, row.host + " " + row.port) << row.text;
  }
}

TEST(Options, NumbersKeepTheirMeaning) {
  EXPECT_EQ(Parsed({"--max-file", "500M"})->max_file, 500U * 1024 * 1024);
  EXPECT_EQ(Parsed({"--max-file", "010"})->max_file, 10U);
  EXPECT_EQ(Parsed({"--idle-timeout", "0.001"})->idle_timeout.count(), 1);
  EXPECT_EQ(Parsed({"--send-timeout", "1e9"})->send_timeout.count(), 1'000'000'000'000);
}

TEST(Options, WrongOnesAreRefused) {
  const struct {
    string option;
    std::vector<string> values;
  } rows[] = {
      {"--max-clients", {"0", "10000"}},
      {"--handshake-timeout", {"0", "1e-9"}},
      {"--send-timeout", {"0", "nan"}},
      {"--idle-timeout", {"0.0001", "nan", "1e300", "-1"}},
      {"--max-file", {"-1", "0x10", "5X", "M", "18446744073709551616", "99999999999T"}},
      {"--allow", {"here"}},
      {"--tags", {"/nowhere/tags"}},
      {"--listen", {"h:65536", "h:http", "h:", "[::1]junk", "[::1", "h:-1"}},
  };
  for (const auto& row : rows) {
    for (const string& value : row.values) {
      EXPECT_FALSE(Parsed({row.option + "=" + value}).has_value()) << row.option << " " << value;
    }
  }
}

TEST(Options, AProgramThatCannotServeSaysSoByItsExit) {
  const struct {
    std::vector<string> options;
    int exit;
  } rows[] = {{{"--version"}, 0},
              {{"--help"}, 0},
              {{}, 2},
              {{"--config", "/nowhere/tvl.ini"}, 2},
              {{"--config", "/dev/null"}, 1}};
  for (const auto& row : rows) {
    ProcessStart start = {{TVL_SERVER_PROGRAM}};
    start.command.insert(start.command.end(), row.options.begin(), row.options.end());
    EXPECT_EQ(RunProcess(start).exit, row.exit) << testing::PrintToString(row.options);
  }
}

}  // namespace
