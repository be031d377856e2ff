#include "server/status/host_guard.h"

#include <asio/ip/address.hpp>
#include <optional>
#include <utility>

#include "base/text.h"

namespace tvl::server {
namespace {

// The host of "host", "host:port", "[address]" or "[address]:port"; empty if it is none of these.
std::string HostOf(const std::string& header) {
  if (!header.starts_with('[')) return header.substr(0, header.find(':'));
  const std::size_t bracket = header.find(']');
  if (bracket == std::string::npos) return {};
  const bool ends_well = bracket + 1 == header.size() || header[bracket + 1] == ':';
  return ends_well ? header.substr(1, bracket - 1) : std::string();
}

std::optional<asio::ip::address> AddressOf(const std::string& host) {
  asio::error_code problem;
  const asio::ip::address address = asio::ip::make_address(host, problem);
  return problem ? std::nullopt : std::optional(address);
}

}  // namespace

HostGuard::HostGuard(std::string configured) : configured_(std::move(configured)) {
  const std::optional<asio::ip::address> address = AddressOf(configured_);
  is_any_address_ = address && address->is_unspecified();
}

bool HostGuard::Allows(const std::string& header) const {
  const std::string host = HostOf(header);
  if (host.empty()) return false;
  if (EqualNoCase(host.c_str(), "localhost") || EqualNoCase(host.c_str(), configured_.c_str())) return true;
  const std::optional<asio::ip::address> address = AddressOf(host);
  return address && (is_any_address_ || address->is_loopback());
}

}  // namespace tvl::server
