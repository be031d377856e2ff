#include "server/settings/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "server/service_manager/passed_sockets.h"

namespace tvl::server {
namespace {

constexpr char kAbout[] =
    "Serves a directory store of the Tavolis File System over TCP.\n"
    "The protocol is neither encrypted nor authenticated; beyond a trusted network, put a TLS tunnel in "
    "front.";
constexpr char kFooter[] = R"(Example:
  tvlserver --config /srv/store/tvl.ini --listen 0.0.0.0:7440 --allow 10.0.0.0/8

On SIGTERM the server exits; running transfers get five seconds.
Exit status: 0 ended by a signal, 1 failed, 2 wrong usage.)";

constexpr int kUsage = 2;
constexpr double kMillisecondsPerSecond = 1000;
constexpr double kShortest = 0.001;  // a shorter time would round to 0, which means no limit
constexpr double kLongest = 1e9;
constexpr int kMostClients = 9999;  // the number of instance numbers
constexpr unsigned long kMostPort = 65535;

// Texts and numbers from the command line.
struct Words {
  std::string listen;
  std::string listen_proxy;
  std::string status;
  std::vector<std::string> proxy_from;
  std::string max_file = "0";
  std::string min_free;
  double handshake_seconds = 10;
  double send_seconds = 60;
  double peer_seconds = 120;
  double idle_seconds = 0;
};

bool HoldsDigitsOnly(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

std::runtime_error Wrong(const char* option, const std::string& text) {
  return std::runtime_error(std::string(option) + ": expected HOST:PORT, not '" + text + "'");
}

// CLI::Range would accept values such as NaN.
CLI::Validator Seconds(bool zero) {
  return CLI::Validator(
      [zero](std::string& text) {
        double seconds = 0;
        const bool good = CLI::detail::lexical_cast(text, seconds) &&
                          ((seconds >= kShortest && seconds <= kLongest) || (zero && seconds == 0));
        return good ? std::string() : "not a number of seconds from 0.001 to 1e9: " + text;
      },
      "SECONDS");
}

// Parses the value of an option. Adds the name of the option to the message of an exception.
template <typename Parse>
auto ParseOption(const char* option, const std::string& text, Parse parse) {
  try {
    return parse(text);
  } catch (const std::runtime_error& problem) {
    throw std::runtime_error(std::string(option) + ": " + problem.what());
  }
}

void DescribeLimits(CLI::App& app, Words& words, Options& options) {
  app.add_option("--max-clients", options.max_clients, "Maximum number of clients")
      ->check(CLI::Range(1, kMostClients))
      ->capture_default_str();
  app.add_option("--max-clients-per-address", options.max_clients_per_address,
                 "Maximum number of clients from one address; 0: no limit")
      ->check(CLI::Range(0, kMostClients))
      ->capture_default_str();
  app.add_option("--handshake-timeout", words.handshake_seconds,
                 "Maximum time in seconds for a client to identify itself")
      ->check(Seconds(false))
      ->capture_default_str();
  app.add_option("--send-timeout", words.send_seconds,
                 "Maximum time in seconds without send progress before the client is disconnected")
      ->check(Seconds(false))
      ->capture_default_str();
  app.add_option("--peer-timeout", words.peer_seconds,
                 "Maximum time in seconds until a client that has disappeared with its network or power is "
                 "disconnected; never less than --send-timeout")
      ->check(Seconds(false))
      ->capture_default_str();
  app.add_option(
         "--idle-timeout", words.idle_seconds,
         "Maximum time in seconds without a complete packet before the client is disconnected; 0: no limit")
      ->check(Seconds(true))
      ->capture_default_str();
  app.add_option("--max-locks-per-client", options.max_locks_per_client,
                 "Maximum number of locks per client; 0: no limit")
      ->capture_default_str();
  app.add_option("--max-file", words.max_file,
                 "Largest file that clients may put, such as 500M; 0: no limit");
  app.add_option("--min-free", words.min_free,
                 "Space to keep free on the disk, such as 500M or 5% [the smaller of 64M and 1%]");
}

void DescribeLog(CLI::App& app, LogOptions& log) {
  static const std::map<std::string, Level> kLevels = {
      {"error", Level::kError}, {"warning", Level::kWarning}, {"info", Level::kInfo}};
  app.add_option("--log", log.file, "Log to this file instead of standard error; SIGHUP reopens it");
  app.add_option("--log-level", log.level, "Lowest level of events to log: error, warning or info")
      ->transform(CLI::CheckedTransformer(kLevels))
      ->type_name("LEVEL")
      ->default_str("info");
  app.add_flag("--log-json", log.json, "Log in JSON, one object per line");
}

void DescribeProxy(CLI::App& app, Words& words, Options& options) {
  app.add_option("--listen-proxy", words.listen_proxy,
                 "HOST:PORT to listen on for a proxy that sends PROXY protocol headers of version 2; "
                 "without --listen, this is the only way in for clients");
  app.add_option("--proxy-from", words.proxy_from, "Networks of the proxies; required with --listen-proxy")
      ->delimiter(',');
  app.add_option("--proxy-port-file", options.proxy.port_file,
                 "Write the number of the port for the proxy to this file");
  app.add_flag(
      "--user-from-certificate", options.user_from_certificate,
      "Use the name in the certificate that the proxy has verified as the client's user; refuse clients "
      "without a certificate");
  app.add_option("--users", options.admission.users,
                 "File of accepted names in certificates, one per line, with \"read\" or \"write\" and "
                 "optionally a folder, separated by tabs");
}

void DescribeStatus(CLI::App& app, Words& words, Options& options) {
  app.add_option(
      "--status", words.status,
      "HOST:PORT to listen on for HTTP: metrics, health, and a page that shows what each client is doing");
  app.add_option("--status-port-file", options.status.port_file,
                 "Write the number of the port for status requests to this file");
}

void DescribeProgram(CLI::App& app, Words& words, Options& options) {
  app.name("tvlserver");
  app.footer(kFooter);
  app.set_version_flag("--version", "tvlserver " TVL_VERSION);
  app.add_option("--config", options.config, "Configuration of the store")
      ->required()
      ->check(CLI::ExistingFile);
  app.add_option("--listen", words.listen,
                 "HOST:PORT to listen on; port 0 selects a free port [127.0.0.1:7440]");
  app.add_option("--port-file", options.plain.port_file,
                 "Write the port number to this file once clients can connect");
  DescribeProxy(app, words, options);
  DescribeLimits(app, words, options);
  app.add_option(
         "--allow", options.admission.allow,
         "Networks whose clients are admitted, such as 10.0.0.0/8,192.168.1.7, or @FILE with one per line")
      ->delimiter(',');
  app.add_option("--tags", options.admission.tags,
                 "File of accepted client tags, one per line followed by \"read\" or \"write\"");
  DescribeLog(app, options.log);
  DescribeStatus(app, words, options);
  app.add_flag("--check", options.check,
               "Read all options and files, print what the server would do, and exit");
}

std::chrono::milliseconds Milliseconds(double seconds) {
  return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * kMillisecondsPerSecond));
}

// Sockets are distinguished by the names in their units.
void TakePassedSockets(const Words& words, Options& options) {
  const struct {
    const char* name;
    const char* option;
    const std::string& text;
    ListenAddress& address;
  } places[] = {{"listen", "--listen", words.listen, options.plain},
                {"proxy", "--listen-proxy", words.listen_proxy, options.proxy},
                {"status", "--status", words.status, options.status}};
  for (const PassedSocket& passed : FindPassedSockets()) {
    const auto* place = std::find_if(std::begin(places), std::end(places),
                                     [&](const auto& candidate) { return candidate.name == passed.name; });
    if (place == std::end(places))
      throw std::runtime_error("passed socket \"" + passed.name +
                               "\": FileDescriptorName= must be \"listen\", \"proxy\" or \"status\"");
    if (!place->text.empty())
      throw std::runtime_error(std::string(place->option) + ": the service manager passes a socket for it");
    place->address.sockets.push_back(passed.number);
  }
  if (options.status.sockets.size() > 1)
    throw std::runtime_error("more than one passed socket is named \"status\"");
}

void TakeListeners(const Words& words, Options& options) {
  TakePassedSockets(words, options);
  SplitAddress("--listen", words.listen, options.plain);
  SplitAddress("--status", words.status, options.status);
  if (options.status.port.empty() && !words.status.empty()) throw Wrong("--status", words.status);
  if (!options.status.IsUsed() && !options.status.port_file.empty())
    throw std::runtime_error("--status-port-file needs --status");
  for (const std::string& network : words.proxy_from) options.proxy_from.Add(network);
  if (words.listen_proxy.empty() && options.proxy.sockets.empty()) {
    if (!words.proxy_from.empty() || !options.proxy.port_file.empty())
      throw std::runtime_error("--proxy-from and --proxy-port-file need --listen-proxy");
    return;
  }
  if (words.proxy_from.empty()) throw std::runtime_error("--listen-proxy needs --proxy-from");
  options.proxy.port = options.plain.port;
  SplitAddress("--listen-proxy", words.listen_proxy, options.proxy);
  if (words.listen.empty()) options.plain.port.clear();
}

void TakeWords(const Words& words, Options& options) {
  TakeListeners(words, options);
  options.max_file = ParseOption("--max-file", words.max_file, ParseSize);
  if (!words.min_free.empty()) options.min_free = ParseOption("--min-free", words.min_free, FreeSpace::Parse);
  static_cast<void>(ReadAdmission(options.admission));  // the server must not start with invalid lists
  options.handshake_timeout = Milliseconds(words.handshake_seconds);
  options.send_timeout = Milliseconds(words.send_seconds);
  options.peer_timeout = Milliseconds(words.peer_seconds);
  options.idle_timeout = Milliseconds(words.idle_seconds);
}

}  // namespace

void SplitAddress(const char* option, const std::string& text, ListenAddress& address) {
  if (text.empty()) return;
  std::string rest = text;
  if (text.front() == '[') {
    const std::size_t bracket = text.find(']');
    if (bracket == std::string::npos) throw Wrong(option, text);
    address.host = text.substr(1, bracket - 1);
    rest = text.substr(bracket + 1);
    if (rest.empty()) return;
    if (rest.front() != ':') throw Wrong(option, text);
  }
  const std::size_t colon = rest.rfind(':');
  if (colon != std::string::npos && colon > 0) address.host = rest.substr(0, colon);
  const std::string number = colon == std::string::npos ? rest : rest.substr(colon + 1);
  if (!HoldsDigitsOnly(number) || number.size() > 5 || std::stoul(number) > kMostPort) {
    throw Wrong(option, text);
  }
  address.port = number;
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
    TakeWords(words, options);
    return -1;
  } catch (const CLI::ParseError& problem) {
    return app.exit(problem) == 0 ? 0 : kUsage;
  } catch (const std::runtime_error& problem) {
    std::fprintf(stderr, "tvlserver: %s\n", problem.what());
    return kUsage;
  }
}

}  // namespace tvl::server
