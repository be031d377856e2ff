#ifndef TVL_SERVER_PROXY_HEADER_H
#define TVL_SERVER_PROXY_HEADER_H

#include <asio/ip/tcp.hpp>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tvl::server {

// What a proxy reports of the connection that it passes on: version 2 of the PROXY protocol, as HAProxy's
// makers publish it (section 2.2, "Binary header format").
struct ProxyHeader {
  // Where the client is; nothing for a connection of the proxy's own, such as a health check.
  std::optional<asio::ip::tcp::endpoint> client;

  // Common name of the certificate that the client presented and the proxy verified; nothing without one.
  std::optional<std::string> certificate_name;
};

// The part of a header that says how long it is.
constexpr std::size_t kProxyHeadSize = 16;

// Far more than an address and a certificate's name need.
constexpr std::size_t kMostProxyHeader = 4096;

// Size of the whole header that begins with these kProxyHeadSize bytes; nothing if they begin none, or one
// that is too long.
[[nodiscard]] std::optional<std::size_t> ProxyHeaderSize(std::string_view head);

// Parses a whole header; nothing if it is malformed, or reports another protocol than TCP.
[[nodiscard]] std::optional<ProxyHeader> ParseProxyHeader(std::string_view header);

}  // namespace tvl::server

#endif
