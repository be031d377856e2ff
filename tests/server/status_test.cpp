#include <gtest/gtest.h>
#include <httplib.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <regex>
#include <sstream>
#include <thread>

#include "server/server_process.h"
#include "server/status/event_streams.h"
#include "server/status/host_guard.h"
#include "table/engine_binding.h"

namespace {

using nlohmann::json;
using std::string;

bool Eventually(const std::function<bool()>& condition) {
  const auto patience = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > patience) return false;
    std::this_thread::yield();
  }
  return true;
}

class Status : public testing::Test {
 protected:
  [[nodiscard]] unsigned short StatusPort() const {
    return static_cast<unsigned short>(std::stoi(store.folder.Read("status.port")));
  }

  // Status code and body of an answer.
  [[nodiscard]] std::pair<int, string> Get(const string& path) const {
    httplib::Client http("127.0.0.1", StatusPort());
    const httplib::Result result = http.Get(path);
    return result ? std::pair(result->status, result->body) : std::pair(0, string());
  }

  // The first event of a stream.
  [[nodiscard]] json Event() const {
    string text;
    httplib::Client http("127.0.0.1", StatusPort());
    http.Get("/events", [&](const char* bytes, std::size_t count) {
      text.append(bytes, count);
      return text.find("\n\n") == string::npos;
    });
    return json::parse(text.substr(text.find("data: ") + 6));
  }

  [[nodiscard]] RawClient Ask(const string& path) const {
    RawClient connection(StatusPort());
    connection.Send("GET " + path + " HTTP/1.1\r\nHost: localhost\r\n\r\n");
    return connection;
  }

  const ServedStore store;
  ServerProcess server{store,
                       {"--status", "0", "--status-port-file", store.folder.Host("status.port"),
                        "--max-clients", "2", "--allow", "127.0.0.0/30"}};
};

// The samples of a page of metrics by name and labels. Checks the form of each line.
std::map<string, double> Samples(const string& page) {
  static const std::regex kHelp("# HELP ([a-z_]+) [A-Z0-9].*\\.");
  static const std::regex kType("# TYPE ([a-z_]+) (counter|gauge|histogram)");
  static const std::regex kSample("([a-z_]+)(\\{([a-z_]+=\"[^\"\\\\]*\",?)+\\})? ([-+.0-9e]+)");
  std::map<string, double> samples;
  std::map<string, string> types;
  string family;
  std::istringstream lines(page);
  std::smatch match;
  for (string line; std::getline(lines, line);) {
    SCOPED_TRACE(line);
    if (std::regex_match(line, match, kHelp)) {
      family = match[1];
      EXPECT_TRUE(types.emplace(family, "").second);
    } else if (std::regex_match(line, match, kType)) {
      EXPECT_EQ(family, match[1]);
      types[family] = match[2];
    } else if (std::regex_match(line, match, kSample)) {
      const string name = match[1];
      const std::regex suffixes(types[family] == "histogram" ? "_(bucket|sum|count)" : "");
      EXPECT_TRUE(name.starts_with(family) && std::regex_match(name.substr(family.size()), suffixes));
      EXPECT_EQ(types[family] == "counter", name.ends_with("_total"));
      EXPECT_TRUE(samples.emplace(name + match[2].str(), std::stod(match[4])).second);
    } else {
      ADD_FAILURE() << "not a line of metrics";
    }
  }
  return samples;
}

// Buckets of a histogram grow up to the last, which has no bound and is the count.
void ExpectHistogram(const string& page, const std::map<string, double>& samples, const string& name,
                     const string& label) {
  SCOPED_TRACE(name + label);
  std::vector<double> buckets;
  std::vector<double> bounds;
  std::istringstream lines(page);
  const string start = name + "_bucket{" + label + ",le=\"";
  for (string line; std::getline(lines, line);) {
    if (!line.starts_with(start)) continue;
    bounds.push_back(std::stod(line.substr(start.size())));
    buckets.push_back(std::stod(line.substr(line.find(' '))));
  }
  ASSERT_GT(buckets.size(), 2U);
  EXPECT_TRUE(std::is_sorted(buckets.begin(), buckets.end()));
  EXPECT_TRUE(std::is_sorted(bounds.begin(), bounds.end()));
  EXPECT_EQ(bounds.back(), std::numeric_limits<double>::infinity());
  EXPECT_EQ(buckets.back(), samples.at(name + "_count{" + label + "}"));
  EXPECT_TRUE(samples.contains(name + "_sum{" + label + "}"));
}

TEST_F(Status, CountsWhatTheServerDoes) {
  const RawClient client = server.Enter();
  EXPECT_EQ(client.Put("f", "x"), 0);
  EXPECT_EQ(client.Get("f").bytes, "x");
  EXPECT_EQ(client.Ask("Gf\t1|11f6ad8ec52a2984abaafd7c3b516503785c2072"), "19");
  EXPECT_EQ(client.Get("missing").code, 20);
  for (const char* object : {"La", "Lb", "Lb", "lb", "lc"}) client.Ask(object);
  const RawClient putting = server.Enter({"pc2"});
  EXPECT_EQ(putting.Ask("Pg\t@"), "0");
  EXPECT_EQ(putting.Lock("a"), "3\tpc1");
  EXPECT_EQ(putting.Ask("Ph\t@"), "0");
  const RawClient third(server.Port());
  third.Send(RawClient::HandshakeBytes({"pc3"}));
  EXPECT_EQ(third.Receive(), kServer + "\t10\tfull");
  const RawClient elsewhere(server.Port(), "127.0.0.9");
  elsewhere.Send(RawClient::HandshakeBytes({"pc4"}));
  EXPECT_EQ(elsewhere.Receive(), kServer + "\t10\taddress");
  RawClient(server.Port()).CloseWriting();
  string page;
  std::map<string, double> samples;
  ASSERT_TRUE(Eventually([&] {
    page = Get("/metrics").second;
    return page.find("reason=\"handshake\"} 1\n") != string::npos;
  }));
  samples = Samples(page);
  const std::map<string, double> expected = {{"clients", 2},
                                             {"clients_limit", 2},
                                             {"enters_total", 2},
                                             {"refusals_total{reason=\"full\"}", 1},
                                             {"refusals_total{reason=\"address\"}", 1},
                                             {"refusals_total{reason=\"handshake\"}", 1},
                                             {"refusals_total{reason=\"tag\"}", 0},
                                             {"gets_total{result=\"done\"}", 1},
                                             {"gets_total{result=\"same\"}", 1},
                                             {"gets_total{result=\"failed\"}", 1},
                                             {"puts_total{result=\"done\"}", 1},
                                             {"locks_total{state=\"1\"}", 3},
                                             {"locks_total{state=\"3\"}", 1},
                                             {"unlocks_total{state=\"0\"}", 2},
                                             {"held_locks", 1},
                                             {"parts", 1},
                                             {"hashed_files_total", 1},
                                             {"queue_waiting{queue=\"engine\"}", 0},
                                             {"queue_wait_seconds_count{queue=\"engine\"}", 8},
                                             {"queue_length_count{queue=\"first_pieces\"}", 1},
                                             {"queue_wait_seconds_count{queue=\"hashing\"}", 0},
                                             {"store_up{part=\"root\"}", 1},
                                             {"store_up{part=\"disk\"}", 1},
                                             {"store_up{part=\"lock_table\"}", 1},
                                             {"event_streams", 0},
                                             {"log_dropped_lines_total", 0}};
  for (const auto& [name, value] : expected) EXPECT_EQ(samples["tvlserver_" + name], value) << name;
  for (const char* name : {"free_bytes", "received_bytes_total", "sent_bytes_total", "start_time_seconds",
                           "queue_wait_seconds_count{queue=\"files\"}"}) {
    EXPECT_GT(samples[string("tvlserver_") + name], 0) << name;
  }
  for (const string queue : {"files", "first_pieces", "hashing", "engine"}) {
    for (const string name : {"tvlserver_queue_length", "tvlserver_queue_wait_seconds"})
      ExpectHistogram(page, samples, name, "queue=\"" + queue + "\"");
  }
}

TEST_F(Status, IsHealthyOnlyWithItsStore) {
  const auto becomes = [&](int code, const string& text) {
    return Eventually([&] { return Get("/healthz") == std::pair(code, text + "\n"); });
  };
  EXPECT_TRUE(becomes(200, "ok"));
  const string root = store.folder.Host("store");
  std::filesystem::rename(root, root + ".away");
  EXPECT_TRUE(becomes(503, "the document root is not in its place"));
  std::filesystem::rename(root + ".away", root);
  EXPECT_TRUE(becomes(200, "ok"));
  {
    CCtreeFile table;
    ASSERT_NE(table.Open((store.store.locks + "dtlocks.dat").c_str()), 0);
    const tvl::TableBatch busy(table.handle, tvl::TableBatch::Kind::kWrite);
    ASSERT_TRUE(busy.HasBegun());
    EXPECT_TRUE(becomes(503, "the lock table does not respond"));
    EXPECT_EQ(Get("/metrics").first, 200);
  }
  EXPECT_TRUE(becomes(200, "ok"));
  std::filesystem::rename(store.store.lock_table_host, root + "/table");
  EXPECT_TRUE(becomes(503, "the lock table cannot be read"));
  std::filesystem::rename(root + "/table", store.store.lock_table_host);
  EXPECT_TRUE(becomes(200, "ok"));
}

TEST_F(Status, ShowsWhoDoesWhat) {
  const string hostile = "<img src=x onerror=alert(1)>.txt";
  CTVLClientSmbOpr directory;
  ASSERT_EQ(store.store.Connect(directory), 0);
  int state = 0;
  directory.Lock(Arg("directory"), &state, nullptr, nullptr, nullptr, nullptr, nullptr);
  ASSERT_EQ(state, 1);
  const RawClient client = server.Enter({.computer = "pc1", .user = "\xE4nn"});
  EXPECT_EQ(client.Lock("ORD1"), "1\tpc1");
  EXPECT_EQ(client.Ask("P" + hostile + "\t@"), "0");
  EXPECT_EQ(client.Ask("0" + string(30000, 'x')), "0");
  const RawClient latin = server.Enter({"pc2", "bob"});
  EXPECT_EQ(latin.Ask("Pb\xE4r\t@"), "0");
  const RawClient refused(server.Port());
  refused.Send(RawClient::HandshakeBytes({"pc3", "eve"}));
  EXPECT_EQ(refused.Receive(), kServer + "\t10\tfull");
  const json event = Event();
  SCOPED_TRACE(event.dump(1));
  const json& totals = event["totals"];
  EXPECT_EQ(totals["clients"], 2);
  EXPECT_EQ(totals["transfers"], 2);
  EXPECT_EQ(totals["held_locks"], 1);
  EXPECT_GT(totals["received"], 30000);
  ASSERT_EQ(event["clients"].size(), 2U);
  EXPECT_EQ(event["clients"][0]["user_hex"], "e46e6e");
  EXPECT_EQ(event["clients"][0]["requests"], 2);
  EXPECT_EQ(event["clients"][0]["locks"], 1);
  EXPECT_EQ(event["clients"][1]["user"], "bob");
  ASSERT_EQ(event["transfers"].size(), 2U);
  const json& put = event["transfers"][0];
  EXPECT_EQ(put["name"], hostile);
  EXPECT_EQ(put["direction"], "put");
  EXPECT_EQ(put["bytes"], 30005);
  EXPECT_GT(put["rate"], 0);
  EXPECT_EQ(event["transfers"][1]["name_hex"], "62e472");
  ASSERT_EQ(event["locks"].size(), 2U);
  EXPECT_EQ(event["locks"][0]["object"], "ORD1");
  EXPECT_EQ(event["locks"][0]["user_hex"], "e46e6e");
  EXPECT_EQ(event["locks"][1]["object"], "directory");
  for (const json& lock : event["locks"]) EXPECT_EQ(lock["alive"], true);
  ASSERT_EQ(event["refusals"].size(), 1U);
  EXPECT_EQ(event["refusals"][0]["reason"], "full");
  EXPECT_EQ(event["refusals"][0]["who"], "pc3/eve/mgrx");
}

TEST_F(Status, ShowsDeadOwners) {
  ServerProcess dying(store);
  {
    const RawClient client = dying.Enter({"pc9"});
    EXPECT_EQ(client.Lock("LEFT"), "1\tpc9");
    dying.Signal(SIGKILL);
    dying.Wait();
  }
  const json locks = Event()["locks"];
  ASSERT_EQ(locks.size(), 1U);
  EXPECT_EQ(locks[0]["computer"], "pc9");
  EXPECT_EQ(locks[0]["alive"], false);
}

// Silent connections don't keep anyone out either.
TEST_F(Status, AnswersWhileAllStreamsAreTaken) {
  std::vector<RawClient> streams;
  for (std::size_t i = 0; i < tvl::server::EventStreams::kMost; ++i) {
    streams.push_back(Ask("/events"));
    EXPECT_EQ(streams.back().ReceiveBytes(12), "HTTP/1.1 200");
  }
  std::vector<RawClient> silent;
  for (int i = 0; i < 40; ++i) silent.emplace_back(StatusPort());
  EXPECT_EQ(Get("/events"), std::pair(503, string("too many event streams\n")));
  EXPECT_EQ(Get("/healthz").first, 200);
  EXPECT_EQ(Samples(Get("/metrics").second)["tvlserver_event_streams"], 16);
  streams.pop_back();
  EXPECT_TRUE(Eventually([&] { return Ask("/events").ReceiveBytes(12) == "HTTP/1.1 200"; }));
  const auto began = std::chrono::steady_clock::now();
  server.Signal(SIGTERM);
  EXPECT_EQ(server.Wait(), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(5));
  EXPECT_FALSE(store.folder.Exists("status.port"));
}

TEST_F(Status, AnswersOnlyWhatItShould) {
  httplib::Client http("127.0.0.1", StatusPort());
  const struct {
    string host;
    int status;
  } hosts[] = {
      {"localhost", 200}, {"127.0.0.1:80", 200}, {"evil.example", 403}, {"", 403}, {"10.0.0.1", 403}};
  for (const auto& row : hosts) {
    for (const char* path : {"/", "/page.js", "/page.css", "/metrics", "/healthz"}) {
      const httplib::Result answer = http.Get(path, httplib::Headers{{"Host", row.host}});
      ASSERT_TRUE(answer) << row.host << path;
      EXPECT_EQ(answer->status, row.status) << row.host << path;
      EXPECT_EQ(answer->get_header_value("Content-Security-Policy").find("default-src 'none'; "), 0U) << path;
    }
  }
  EXPECT_EQ(Get("/nothing").first, 404);
  const httplib::Result post = http.Post("/", "change", "text/plain");
  ASSERT_TRUE(post);
  EXPECT_EQ(post->status, 405);
  const ProcessResult second = RunProcess({{TVL_SERVER_PROGRAM, "--config", store.Path("tvl.ini"), "--listen",
                                            "0", "--status", std::to_string(StatusPort())}});
  EXPECT_EQ(second.exit, 1);
  EXPECT_NE(second.err.find("cannot listen for status requests"), string::npos) << second.err;
}

TEST(StatusHosts, AreThoseOfThisServer) {
  const struct {
    const char* configured;
    std::vector<string> good, bad;
  } rows[] = {
      {"127.0.0.1",
       {"127.0.0.1", "127.9.9.9:1", "localhost", "LocalHost:80", "[::1]", "[::1]:80"},
       {"", ":80", "localhost.example", "127.0.0.1.example", "10.0.0.1", "[::1", "[::1]x", "::1", "0.0.0.0"}},
      {"store.lan", {"Store.LAN:9", "localhost"}, {"store.lan.example", "store"}},
      {"10.0.0.1", {"10.0.0.1:9"}, {"10.0.0.2"}},
      {"0.0.0.0", {"10.0.0.1", "[2001:db8::1]:9"}, {"store.lan"}},
      {"::", {"10.0.0.1"}, {"store.lan"}},
  };
  for (const auto& row : rows) {
    const tvl::server::HostGuard guard(row.configured);
    for (const string& host : row.good) EXPECT_TRUE(guard.Allows(host)) << row.configured << " " << host;
    for (const string& host : row.bad) EXPECT_FALSE(guard.Allows(host)) << row.configured << " " << host;
  }
}

}  // namespace
