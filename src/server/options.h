#ifndef TVL_SERVER_OPTIONS_H
#define TVL_SERVER_OPTIONS_H

#include <chrono>
#include <cstdint>
#include <string>

#include "server/access.h"
#include "server/free_space.h"
#include "server/log.h"

namespace tvl::server {

// What the command line says.
struct Options {
  std::string config;
  std::string host = "127.0.0.1";
  std::string port = "7440";
  std::string port_file;
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
};

// Fills `options`. -1 to go on, else the code to exit with: something was wrong, or help was asked for; it
// has been said then.
[[nodiscard]] int ParseOptions(int count, char** arguments, Options& options);

// Takes "HOST:PORT", ":PORT", "PORT", "[IPv6]:PORT", "[IPv6]" apart; what is missing stays. Throws
// std::runtime_error for anything else.
void SplitAddress(const std::string& text, std::string& host, std::string& port);

}  // namespace tvl::server

#endif
