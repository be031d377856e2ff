#ifndef TVL_SERVER_WIRE_PROXY_HEADER_H
#define TVL_SERVER_WIRE_PROXY_HEADER_H

#include <asio/ip/tcp.hpp>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tvl::server {

// What a proxy reports about the connection that it passes on: version 2 of the PROXY protocol, as published
// by the authors of HAProxy (section 2.2, "Binary header format").
struct ProxyHeader {
  // The address of the client; nothing for a connection of the proxy itself, such as a health check.
  std::optional<asio::ip::tcp::endpoint> client;

  // Common name of the certificate that the client presented and the proxy verified; nothing without one.
  std::optional<std::string> certificate_name;
};

// The part of a header that contains its length.
constexpr std::size_t kProxyHeadSize = 16;

// Much more than an address and the name in a certificate need.
constexpr std::size_t kMostProxyHeader = 4096;

// Returns the size of the complete header that begins with these kProxyHeadSize bytes; nothing if they do not
// begin a header, or one that is too long.
[[nodiscard]] std::optional<std::size_t> ProxyHeaderSize(std::string_view head);

// Parses a complete header. Returns nothing if it is malformed, or reports a protocol other than TCP.
[[nodiscard]] std::optional<ProxyHeader> ParseProxyHeader(std::string_view header);

}  // namespace tvl::server

#endif
