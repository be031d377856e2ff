#ifndef TVL_SERVER_OPTIONS_H
#define TVL_SERVER_OPTIONS_H

#include <chrono>
#include <cstdint>
#include <string>

#include "server/access.h"
#include "server/free_space.h"
#include "server/log.h"

namespace tvl::server {

// Where to listen. Without a port, nowhere.
struct ListenAddress {
  std::string host;
  std::string port;
  std::string port_file;  // gets the number of the port; empty for none
};

// What the command line says.
struct Options {
  std::string config;
  ListenAddress plain = {"127.0.0.1", "7440", {}};
  ListenAddress proxy = {"127.0.0.1", "", {}};  // for connections that a proxy passes on; no port: none
  AllowedAddresses proxy_from;
  bool user_from_certificate = false;
  std::size_t max_clients = 1024;
  std::chrono::milliseconds handshake_timeout = std::chrono::seconds(10);
  std::chrono::milliseconds send_timeout = std::chrono::seconds(60);
  std::chrono::milliseconds idle_timeout = std::chrono::milliseconds::zero();  // none
  std::uint64_t max_file = 0;                                                  // any size
  std::size_t max_clients_per_address = 0;                                     // any number
  unsigned int max_locks_per_client = 0;                                       // any number
  FreeSpace min_free;
  AdmissionSources admission;
  LogOptions log;
  bool check = false;  // only look whether the server could start
};

// Fills `options`. -1 to go on, else the code to exit with: something was wrong, or help was asked for; it
// has been said then.
[[nodiscard]] int ParseOptions(int count, char** arguments, Options& options);

// Parses "HOST:PORT", ":PORT", "PORT", "[IPv6]:PORT" or "[IPv6]", the value of `option`; what is missing
// keeps its value in `address`. Throws std::runtime_error for anything else.
void SplitAddress(const char* option, const std::string& text, ListenAddress& address);

}  // namespace tvl::server

#endif
