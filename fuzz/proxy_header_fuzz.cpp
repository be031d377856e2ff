#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "server/wire/proxy_header.h"

// A PROXY protocol header, which may be cut off or have more after it, as the server reads it: its beginning,
// then as many bytes as that announces.

namespace {

using tvl::server::kMostProxyHeader;
using tvl::server::kProxyHeadSize;
using tvl::server::ParseProxyHeader;
using tvl::server::ProxyHeader;
using tvl::server::ProxyHeaderSize;

constexpr std::size_t kLengthAt = 14;

void Expect(bool holds) {
  if (!holds) std::abort();
}

// In a buffer of its own size, so that a byte too many is found.
std::optional<ProxyHeader> Parse(std::string_view header) {
  const auto copy = std::make_unique<char[]>(header.size());
  header.copy(copy.get(), header.size());
  return ParseProxyHeader({copy.get(), header.size()});
}

bool IsEqual(const std::optional<ProxyHeader>& one, const std::optional<ProxyHeader>& other) {
  return one.has_value() == other.has_value() &&
         (!one || (one->client == other->client && one->certificate_name == other->certificate_name));
}

// The header with a value of a type that nobody knows at its end.
std::string WithUnknownValue(std::string_view header) {
  const std::string value("\xEE\0\x01x", 4);
  std::string longer = std::string(header) + value;
  const std::size_t size = longer.size() - kProxyHeadSize;
  longer[kLengthAt] = static_cast<char>(size >> 8U);
  longer[kLengthAt + 1] = static_cast<char>(size & 0xFFU);
  return longer;
}

bool MayHaveChecksum(std::string_view header) {
  return header.substr(kProxyHeadSize).find('\x03') != std::string_view::npos;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view stream(reinterpret_cast<const char*>(bytes), size);
  if (size < kProxyHeadSize) return 0;
  const std::optional<std::size_t> announced = ProxyHeaderSize(stream.substr(0, kProxyHeadSize));
  if (!announced) return 0;
  Expect(*announced >= kProxyHeadSize && *announced <= kMostProxyHeader);
  if (*announced > size) return 0;
  const std::string_view header = stream.substr(0, *announced);
  const std::optional<ProxyHeader> parsed = Parse(header);
  if (!parsed) return 0;
  if (parsed->certificate_name) {
    Expect(parsed->client.has_value());
    Expect(header.find(*parsed->certificate_name, kProxyHeadSize) != std::string_view::npos);
  }
  if (!MayHaveChecksum(header)) Expect(IsEqual(Parse(WithUnknownValue(header)), parsed));
  return 0;
}
