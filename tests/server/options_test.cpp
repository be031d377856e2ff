#include "server/settings/options.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <thread>

#include "server/server_process.h"
#include "server/wire/tag_guard.h"

namespace {

using std::string;
using tvl::server::AllowedAddresses;
using tvl::server::NameList;
using tvl::server::Options;
using tvl::server::Right;
using tvl::server::Rights;

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

TEST(ServerOptions, ParseAddresses) {
  const struct {
    string text, host, port;
  } rows[] = {{"h2:2", "h2", "2"},           {":2", "127.0.0.1", "2"}, {"2", "127.0.0.1", "2"},
              {"[::]:65535", "::", "65535"}, {"[::1]", "::1", "7440"}, {"h:0", "h", "0"}};
  for (const auto& row : rows) {
    const std::optional<Options> options = Parsed({"--listen", row.text});
    ASSERT_TRUE(options.has_value()) << row.text;
    EXPECT_EQ(options->plain.host + " " + options->plain.port, row.host + " " + row.port) << row.text;
  }
  EXPECT_EQ(Parsed({})->status.port, "");
  const std::optional<Options> options = Parsed({"--status", "8080"});
  EXPECT_EQ(options->status.host + " " + options->status.port, "127.0.0.1 8080");
}

TEST(ServerOptions, ParseNumbers) {
  EXPECT_EQ(Parsed({"--max-file", "500M"})->max_file, 500U * 1024 * 1024);
  EXPECT_EQ(Parsed({"--max-file", "010"})->max_file, 10U);
  EXPECT_EQ(Parsed({"--idle-timeout", "0.001"})->idle_timeout.count(), 1);
  EXPECT_EQ(Parsed({"--send-timeout", "1e9"})->send_timeout.count(), 1'000'000'000'000);
}

TEST(ServerOptions, RefuseInvalidValues) {
  const struct {
    string option;
    std::vector<string> values;
  } rows[] = {
      {"--max-clients", {"0", "10000"}},
      {"--handshake-timeout", {"0", "1e-9"}},
      {"--send-timeout", {"0", "nan"}},
      {"--peer-timeout", {"0", "nan"}},
      {"--idle-timeout", {"0.0001", "nan", "1e300", "-1"}},
      {"--max-file", {"-1", "0x10", "5X", "M", "18446744073709551616", "99999999999T"}},
      {"--min-free", {"-1", "5X", "101%", "-1%", "nan%", "%", "5 %"}},
      {"--allow", {"here", "@/nowhere", "@/dev/null"}},
      {"--tags", {"/nowhere/tags"}},
      {"--listen", {"h:65536", "h:http", "h:", "[::1]junk", "[::1", "h:-1"}},
      {"--status", {"h:65536", "[::1]"}},
      {"--status-port-file", {"/dev/null"}},
  };
  for (const auto& row : rows) {
    for (const string& value : row.values) {
      EXPECT_FALSE(Parsed({row.option + "=" + value}).has_value()) << row.option << " " << value;
    }
  }
}

TEST(ServerOptions, FailingProgramExitsWithItsStatus) {
  const std::pair<std::vector<string>, int> rows[] = {{{"--version"}, 0},
                                                      {{"--help"}, 0},
                                                      {{}, 2},
                                                      {{"--config", "/nowhere/tvl.ini"}, 2},
                                                      {{"--config", "/dev/null"}, 1}};
  for (auto [command, exit] : rows) {
    command.insert(command.begin(), TVL_SERVER_PROGRAM);
    EXPECT_EQ(RunProcess({command}).exit, exit) << testing::PrintToString(command);
  }
}

TEST(ServerOptions, CanBeCheckedWithoutAServer) {
  const ServedStore store;
  store.folder.Write("tags", "a read\n");
  const auto check = [&](const string& tags) {
    return RunProcess({{TVL_SERVER_PROGRAM, "--config", store.Path("tvl.ini"), "--listen", "[::]:0",
                        "--status", "8080", "--tags", store.folder.Host(tags), "--check"}});
  };
  const ProcessResult good = check("tags");
  EXPECT_EQ(good.exit, 0);
  for (const string& line :
       {"store:        " + store.store.root_host, string("listens:      [::]:0"),
        string("status:       127.0.0.1:8080"), "tags:         those in " + store.folder.Host("tags")}) {
    EXPECT_NE(good.out.find(line + "\n"), string::npos) << good.out;
  }
  EXPECT_EQ(check("missing").exit, 2);
  std::filesystem::remove_all(store.Path("tmp"));
  store.Write("tmp", "not a folder");
  EXPECT_EQ(check("tags").exit, 1);
}

TEST(ServerAccess, DependsOnNetwork) {
  const struct {
    std::vector<string> networks, in, out;
  } rows[] = {
      {{}, {"203.0.113.9"}, {}},
      {{"10.0.0.0/8"}, {"10.255.0.1", "::ffff:10.0.0.1"}, {"11.0.0.1"}},
      {{"10.1.2.3/8"}, {"10.9.9.9"}, {}},  // the bits after the prefix are ignored
      {{"192.168.1.7"}, {"192.168.1.7"}, {"192.168.1.8"}},
      {{"192.168.1.7", "10.0.0.0/8"}, {"10.0.0.1"}, {}},
      {{"0.0.0.0/0"}, {"198.51.100.1"}, {"2001:db8::1"}},
      {{"2001:db8::/32"}, {"2001:db8:1::1"}, {"2001:db9::1", "10.0.0.1"}},
      {{"fe80::/10"}, {"fe80::1%1"}, {}},
      {{"fe80::1%1"}, {"fe80::1%1", "fe80::1%2"}, {"fe80::2%1"}},
      {{"::ffff:10.0.0.0/104"}, {"10.9.9.9", "::ffff:10.9.9.9"}, {"11.0.0.1"}},
  };
  for (const auto& row : rows) {
    AllowedAddresses allowed;
    for (const string& network : row.networks) allowed.Add(network);
    const auto allows = [&](const string& text) { return allowed.Allows(asio::ip::make_address(text)); };
    for (const string& address : row.in) EXPECT_TRUE(allows(address)) << address;
    for (const string& address : row.out) EXPECT_FALSE(allows(address)) << address;
  }
  for (const char* wrong : {"", "10.0.0", "10.0.0.0/33", "here", "10.0.0.0/", "::/129", "fe80::1%,fe80::2",
                            "fe80::1%eth0:fe80::2/10", "fe80::1%", "fe80::1%a_name_too_long_for_a_link"}) {
    EXPECT_THROW(AllowedAddresses().Add(wrong), std::runtime_error) << wrong;
  }
}

TEST(ServerAccess, DependsOnNameAndFolder) {
  const TempFolder folder;
  folder.Write("names",
               "# who may what\n\nreader read\n  two words\twrite \r\nboth read\nboth write\nread write\n"
               "ann\tread\nann\twrite\tdocs/\nann\tread\tdocs/old\nbob\twrite\ta/b\n");
  const NameList names(folder.Host("names"));
  const struct {
    const char* name;
    const char* path;
    Right right;
  } rows[] = {{"reader", "a", Right::kRead},        {"two words", "a/b", Right::kWrite},
              {"both", "a", Right::kWrite},         {"read", "a", Right::kWrite},
              {"ann", "a.txt", Right::kRead},       {"ann", "docs/a", Right::kWrite},
              {"ann", "docs/x/y/z", Right::kWrite}, {"ann", "docs/old/a", Right::kRead},
              {"ann", "docs/older", Right::kWrite}, {"ann", "docsx/a", Right::kRead},
              {"ann", "docs", Right::kRead},        {"bob", "a/b/c", Right::kWrite},
              {"bob", "a/c", Right::kNone},         {"bob", "a/b", Right::kNone}};
  for (const auto& row : rows) {
    EXPECT_EQ(names.RightsOf(row.name).At(row.path), row.right) << row.name << " " << row.path;
  }
  for (const char* name : {"", "reade", "readerr", "readerreader", "# who may", "An", "ann\t"}) {
    EXPECT_FALSE(names.RightsOf(name).AdmitsAnything()) << name;
  }
  EXPECT_EQ(NameList().RightsOf("anybody").At("any/file"), Right::kWrite);
  for (const char* wrong : {"tag\n", "tag reads\n", "tag read write it\n", "tag\tread\t../up\n",
                            "tag\tread\t/\n", "tag\tread\ta\tb\n"}) {
    folder.Write("wrong", wrong);
    EXPECT_THROW(NameList(folder.Host("wrong")), std::runtime_error) << wrong;
  }
  EXPECT_THROW(NameList(folder.Host("missing")), std::runtime_error);
}

// Expects that a client is refused with a code and that the connection stays open until the client closes it.
void ExpectRefused(unsigned short port, const string& tag, const string& reason) {
  const RawClient client(port);
  client.Send(RawClient::HandshakeBytes({.tag = tag}) + RawClient::PacketBytes("Gahead\t@"));
  EXPECT_EQ(client.Receive(), kServer + "\t10\t" + reason);
  client.SendPacket("Gmore\t@");
  client.SendPacket("X");
  EXPECT_TRUE(client.IsEnded());
}

TEST(ServerAccess, IsEnforcedByServer) {
  const ServedStore store;
  store.Write("a.txt", "Hello");
  store.folder.Write("tags", "reads read\nwrites write\n");
  const ServerProcess server(store, {"--tags", store.folder.Host("tags"), "--max-clients", "2"});
  ExpectRefused(server.Port(), "", "tag");
  const RawClient reader = server.Enter({.tag = "reads"});
  EXPECT_EQ(reader.Get("a.txt").bytes, "Hello");
  EXPECT_EQ(reader.Ask("Pb.txt\t@"), "20\tright");
  EXPECT_EQ(reader.Lock("ORD1"), "1\tpc1");
  const RawClient writer = server.Enter({.tag = "writes"});
  EXPECT_EQ(writer.Put("b.txt", "x"), 0);
  ExpectRefused(server.Port(), "writes", "full");  // the third of two
  EXPECT_EQ(store.Files(), (std::vector<string>{"a.txt", "b.txt"}));
}

TEST(ServerAccess, IsReloadedCompletelyOrNotAtAll) {
  const ServedStore store;
  const auto setting = [&](const string& tags, const string& networks) {
    store.folder.Write("tags", tags);
    store.folder.Write("allow", networks);
  };
  setting("stays write\nreads write\ngoes write\n", "127.0.0.1\n127.0.0.2\n");
  const ServerProcess server(store, {"--tags", store.folder.Host("tags"), "--allow",
                                     "@" + store.folder.Host("allow"), "--log", store.folder.Host("log")});
  const RawClient stays = server.Enter({.tag = "stays"});
  const RawClient reads = server.Enter({.tag = "reads"});
  const RawClient goes = server.Enter({.tag = "goes"});
  const RawClient elsewhere = server.Enter({.tag = "stays"}, "127.0.0.2");
  std::filesystem::rename(store.folder.Host("log"), store.folder.Host("log.1"));
  setting("comes write\n", "nowhere\n");
  server.Signal(SIGHUP);
  const auto logged = [&](const string& text) {
    while (store.folder.Read("log").find(text) == string::npos) std::this_thread::yield();
  };
  logged("line 1: not a valid address or network: nowhere");
  EXPECT_EQ(stays.Put("a", "x"), 0);
  ExpectRefused(server.Port(), "comes", "tag");
  setting("stays write\nreads read\ncomes write\n", "127.0.0.1\n");
  server.Signal(SIGHUP);
  logged("tags and networks read");
  EXPECT_EQ(server.Enter({.tag = "comes"}).Put("b", "x"), 0);
  EXPECT_EQ(stays.Put("a", "y"), 0);
  EXPECT_EQ(reads.Put("a", "z"), 20);
  EXPECT_TRUE(goes.IsEnded());
  EXPECT_TRUE(elsewhere.IsEnded());
}

TEST(ServerAccess, DelaysAnswersToGuessedTags) {
  using std::chrono::seconds;
  tvl::server::TagGuard guard;
  const auto guesser = asio::ip::make_address("192.0.2.1");
  auto now = tvl::server::TagGuard::Clock::now();
  for (const int delay : {1, 2, 4, 8, 8}) EXPECT_EQ(guard.Delay(guesser, now), seconds(delay));
  EXPECT_EQ(guard.Delay(asio::ip::make_address("192.0.2.2"), now), seconds(1));
  for (unsigned int i = 0; i < 5'000; ++i) {
    EXPECT_EQ(guard.Delay(asio::ip::address_v4(0x0A000000 + i), now += std::chrono::milliseconds(1)),
              seconds(1));
  }
  EXPECT_EQ(guard.Delay(guesser, now + std::chrono::hours(1)), seconds(1));
}

}  // namespace
