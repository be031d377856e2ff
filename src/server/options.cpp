#include "server/options.h"

#include <CLI/CLI.hpp>
#include <stdexcept>
#include <vector>

namespace tvl::server {
namespace {

constexpr char kAbout[] =
    "Server of the Tavolis File System: serves a directory store over TCP.\n"
    "The protocol is neither encrypted nor authenticated; beyond a trusted network, put a TLS tunnel in "
    "front.";
constexpr char kFooter[] = R"(Example:
  tvlserver --config /srv/store/tvl.ini --listen 0.0.0.0:7440 --allow 10.0.0.0/8

SIGTERM ends it: running transfers get five seconds. Exit status: 0 ended so, 1 failed, 2 wrong usage.)";

constexpr int kUsage = 2;
constexpr double kMillisecondsPerSecond = 1000;

// Texts and numbers as they stand on the command line.
struct Words {
  std::string listen;
  std::vector<std::string> allow;
  std::string tags;
  double handshake_seconds = 10;
  double send_seconds = 60;
  double idle_seconds = 0;
};

void DescribeLimits(CLI::App& app, Words& words, Options& options) {
  app.add_option("--max-clients", options.max_clients, "Clients at once")
      ->check(CLI::Range(1, 1'000'000))
      ->capture_default_str();
  app.add_option("--handshake-timeout", words.handshake_seconds, "Seconds for a client to say who it is")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  app.add_option("--send-timeout", words.send_seconds, "Seconds for a client to take something of an answer")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  app.add_option("--idle-timeout", words.idle_seconds,
                 "Seconds without a packet after which a client is sent away; 0: never")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  app.add_option("--max-file", options.max_file, "Greatest file that may be put, as 500M; 0: any")
      ->transform(CLI::AsSizeValue(false));
}

void DescribeProgram(CLI::App& app, Words& words, Options& options) {
  app.name("tvlserver");
  app.footer(kFooter);
  app.set_version_flag("--version", "tvlserver " TVL_VERSION);
  app.add_option("--config", options.config, "Configuration of the store")
      ->required()
      ->check(CLI::ExistingFile);
  app.add_option("--listen", words.listen,
                 "HOST:PORT to listen on; port 0 picks a free one [127.0.0.1:7440]");
  app.add_option("--port-file", options.port_file, "File that gets the port's number once clients may come");
  DescribeLimits(app, words, options);
  app.add_option("--allow", words.allow, "Networks from which clients may come, as 10.0.0.0/8,192.168.1.7")
      ->delimiter(',');
  app.add_option("--tags", words.tags,
                 "File of accepted client tags, each with \"read\" or \"write\" behind it");
  app.add_flag("--log-json", options.log_json, "Log in JSON, an object a line");
}

std::chrono::milliseconds Milliseconds(double seconds) {
  return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * kMillisecondsPerSecond));
}

void TakeWords(const Words& words, Options& options) {
  SplitAddress(words.listen, options.host, options.port);
  for (const std::string& network : words.allow) options.allowed.Add(network);
  if (!words.tags.empty()) options.tags = Tags(words.tags);
  options.handshake_timeout = Milliseconds(words.handshake_seconds);
  options.send_timeout = Milliseconds(words.send_seconds);
  options.idle_timeout = Milliseconds(words.idle_seconds);
}

}  // namespace

void SplitAddress(const std::string& text, std::string& host, std::string& port) {
  if (text.empty()) return;
  const std::size_t bracket = text.find(']');
  const std::size_t colon = text.rfind(':');
  if (text.front() == '[' && bracket != std::string::npos) {
    host = text.substr(1, bracket - 1);
    if (colon > bracket && colon != std::string::npos) port = text.substr(colon + 1);
    return;
  }
  if (colon == std::string::npos) {
    port = text;
    return;
  }
  if (colon > 0) host = text.substr(0, colon);
  if (colon + 1 < text.size()) port = text.substr(colon + 1);
}

int ParseOptions(int count, char** arguments, Options& options) {
  Words words;
  CLI::App app(kAbout);
  DescribeProgram(app, words, options);
  app.failure_message([](const CLI::App*, const CLI::Error& problem) {
    return std::string("tvlserver: ") + problem.what() + "\nTry 'tvlserver --help'.\n";
  });
  try {
    app.parse(count, arguments);
  } catch (const CLI::ParseError& problem) {
    return app.exit(problem) == 0 ? 0 : kUsage;
  }
  TakeWords(words, options);
  return -1;
}

}  // namespace tvl::server
