#include "server/wire/proxy_header.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace tvl::server {
namespace {

constexpr std::string_view kSignature("\r\n\r\n\0\r\nQUIT\n", 12);
constexpr unsigned char kVersion = 2;
constexpr std::size_t kLengthAt = 14;

enum Command : unsigned char { kLocal = 0, kProxied = 1 };
enum Family : unsigned char { kTcp4 = 0x11, kTcp6 = 0x21 };
enum Type : unsigned char { kChecksum = 0x03, kTls = 0x20, kTlsCommonName = 0x22 };

// Bits of the byte that describes the client's certificate.
constexpr unsigned char kCertificateBits = 0x02 | 0x04;  // on this connection, or earlier in this TLS session
constexpr std::size_t kTlsHeadSize = 5;                  // that byte, and the result of the verification

constexpr std::size_t kValueHeadSize = 3;
constexpr std::size_t kChecksumSize = 4;
constexpr std::uint32_t kCrc32cPolynomial = 0x82F63B78;  // Castagnoli, bits reversed

unsigned char Byte(std::string_view bytes, std::size_t at) {
  return static_cast<unsigned char>(bytes[at]);
}

// Reads two bytes, the high one first.
std::size_t Number16(std::string_view bytes, std::size_t at) {
  return (std::size_t{Byte(bytes, at)} << 8U) | Byte(bytes, at + 1);
}

std::uint32_t Number32(std::string_view bytes) {
  return static_cast<std::uint32_t>((Number16(bytes, 0) << 16U) | Number16(bytes, 2));
}

struct Value {
  unsigned char type;
  std::string_view bytes;
};

// Removes the next value from `rest`. Returns nothing if it is incomplete.
std::optional<Value> NextValue(std::string_view& rest) {
  if (rest.size() < kValueHeadSize) return std::nullopt;
  const std::size_t size = Number16(rest, 1);
  if (rest.size() < kValueHeadSize + size) return std::nullopt;
  const Value value = {Byte(rest, 0), rest.substr(kValueHeadSize, size)};
  rest.remove_prefix(kValueHeadSize + size);
  return value;
}

std::uint32_t Crc32c(std::string_view bytes) {
  std::uint32_t crc = ~std::uint32_t{0};
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    crc ^= Byte(bytes, at);
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1U) ^ ((crc & 1U) != 0 ? kCrc32cPolynomial : 0);
  }
  return ~crc;
}

// The checksum is that of the header with zeros instead of the checksum.
bool IsChecksumRight(std::string_view header, std::string_view checksum) {
  if (checksum.size() != kChecksumSize) return false;
  std::string zeroed(header);
  const auto at = static_cast<std::size_t>(checksum.data() - header.data());
  std::fill_n(zeroed.begin() + static_cast<std::ptrdiff_t>(at), kChecksumSize, '\0');
  return Crc32c(zeroed) == Number32(checksum);
}

// Reads the name in the certificate, if the proxy has verified one. Returns false for a malformed value.
bool ParseTls(std::string_view bytes, ProxyHeader& header) {
  if (bytes.size() < kTlsHeadSize) return false;
  const bool verified = (Byte(bytes, 0) & kCertificateBits) != 0 && Number32(bytes.substr(1)) == 0;
  std::string_view rest = bytes.substr(kTlsHeadSize);
  while (!rest.empty()) {
    const std::optional<Value> value = NextValue(rest);
    if (!value) return false;
    if (verified && value->type == kTlsCommonName) header.certificate_name = std::string(value->bytes);
  }
  return true;
}

template <std::size_t Size>
std::array<unsigned char, Size> Address(std::string_view bytes) {
  std::array<unsigned char, Size> address = {};
  std::transform(bytes.begin(), bytes.begin() + Size, address.begin(),
                 [](char byte) { return static_cast<unsigned char>(byte); });
  return address;
}

// Reads the address of the client. Returns the number of bytes of both addresses; 0 for a family other than
// TCP.
template <typename Ip>
std::size_t ParseEndpoint(std::string_view bytes, ProxyHeader& header) {
  constexpr std::size_t kSize = sizeof(typename Ip::bytes_type);
  constexpr std::size_t kBoth = 2 * (kSize + sizeof(std::uint16_t));
  if (bytes.size() < kBoth) return 0;
  const auto port = static_cast<unsigned short>(Number16(bytes, 2 * kSize));
  header.client.emplace(Ip(Address<kSize>(bytes)), port);
  return kBoth;
}

std::size_t ParseEndpoint(unsigned char family, std::string_view bytes, ProxyHeader& header) {
  switch (family) {
    case kTcp4:
      return ParseEndpoint<asio::ip::address_v4>(bytes, header);
    case kTcp6:
      return ParseEndpoint<asio::ip::address_v6>(bytes, header);
    default:
      return 0;
  }
}

}  // namespace

std::optional<std::size_t> ProxyHeaderSize(std::string_view head) {
  if (!head.starts_with(kSignature) || Byte(head, kSignature.size()) >> 4U != kVersion) return std::nullopt;
  const std::size_t size = kProxyHeadSize + Number16(head, kLengthAt);
  return size <= kMostProxyHeader ? std::optional(size) : std::nullopt;
}

std::optional<ProxyHeader> ParseProxyHeader(std::string_view header) {
  const unsigned char command = Byte(header, kSignature.size()) & 0xFU;
  ProxyHeader parsed;
  if (command == kLocal) return parsed;
  std::string_view rest = header.substr(kProxyHeadSize);
  const std::size_t used = ParseEndpoint(Byte(header, kSignature.size() + 1), rest, parsed);
  if (command != kProxied || used == 0) return std::nullopt;
  rest.remove_prefix(used);
  while (!rest.empty()) {
    const std::optional<Value> value = NextValue(rest);
    if (!value) return std::nullopt;
    if (value->type == kChecksum && !IsChecksumRight(header, value->bytes)) return std::nullopt;
    if (value->type == kTls && !ParseTls(value->bytes, parsed)) return std::nullopt;
  }
  return parsed;
}

}  // namespace tvl::server
