#ifndef TVL_SERVER_ACCESS_H
#define TVL_SERVER_ACCESS_H

#include <asio/ip/address.hpp>
#include <asio/ip/network_v4.hpp>
#include <asio/ip/network_v6.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace tvl::server {

enum class Right { kNone, kRead, kWrite };

// Addresses from which clients may come; without any, all.
class AllowedAddresses {
 public:
  // One network: an address, or one with "/" and the bits that count. Throws std::runtime_error for anything
  // else.
  void Add(const std::string& network);

  [[nodiscard]] bool Allows(const asio::ip::address& address) const;

 private:
  std::vector<asio::ip::network_v4> v4_;
  std::vector<asio::ip::network_v6> v6_;
};

// The client tags that are accepted and what they may do; without a list, any tag may do all.
class Tags {
 public:
  Tags() = default;

  // Reads a file with a tag a line, and "read" or "write" behind it. Empty lines and those that begin with
  // "#" are passed over. Throws std::runtime_error for a file that can't be read or has another line.
  explicit Tags(const std::string& path);

  // Takes the same time whatever tags are in the list and wherever they differ.
  [[nodiscard]] Right RightOf(std::string_view tag) const;

 private:
  struct Entry {
    std::string tag;
    Right right;
  };

  static Entry ParseLine(const std::string& line);

  bool open_to_all_ = true;
  std::vector<Entry> entries_;
};

// An address by itself: one of IPv4 that came in the clothes of IPv6 is one of IPv4, and which of this
// machine's links it came by doesn't count.
[[nodiscard]] asio::ip::address Plain(const asio::ip::address& address);

}  // namespace tvl::server

#endif
