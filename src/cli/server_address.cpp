#include "cli/server_address.h"

#include <charconv>
#include <string_view>

#include "cli/output/failure.h"

namespace tvl::cli {

ServerAddress ParseServer(const std::string& text) {
  const std::size_t colon = text.rfind(':');
  const std::string_view port_text =
      std::string_view(text).substr(colon == std::string::npos ? 0 : colon + 1);
  ServerAddress server = {text.substr(0, colon == std::string::npos ? 0 : colon), 0};
  const auto [end, problem] =
      std::from_chars(port_text.data(), port_text.data() + port_text.size(), server.port);
  const bool whole = problem == std::errc() && end == port_text.data() + port_text.size();
  if (server.host.empty() || !whole || server.port == 0 || server.port > 65535)
    throw Stop("--tcp needs HOST:PORT with a port from 1 to 65535, not '" + text + "'");
  if (server.host.front() == '[' && server.host.back() == ']' && server.host.size() > 2) {
    server.host = server.host.substr(1, server.host.size() - 2);
  } else if (server.host.find_first_of("[]:") != std::string::npos) {
    throw Stop("--tcp needs an IPv6 address in brackets, [ADDRESS]:PORT, not '" + text + "'");
  }
  return server;
}

}  // namespace tvl::cli
