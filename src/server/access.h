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
  // One network: an address, or an address with "/" and the number of bits that count. "@FILE" adds every
  // network that the file lists, one per line. Throws std::runtime_error for anything else.
  void Add(const std::string& network);

  [[nodiscard]] bool Allows(const asio::ip::address& address) const;

 private:
  void AddFile(const std::string& path);
  void AddNetwork(const std::string& network);

  std::vector<asio::ip::network_v4> v4_;
  std::vector<asio::ip::network_v6> v6_;
};

// The client tags that are accepted and what they may do; without a list, any tag may do all.
class Tags {
 public:
  Tags() = default;

  // Reads a file with one tag per line, followed by "read" or "write". Empty lines and those that begin with
  // "#" are skipped. Throws std::runtime_error for a file that cannot be read or contains any other line.
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

// Where the rules for admission come from, as the command line names them.
struct AdmissionSources {
  std::vector<std::string> allow;  // arguments of AllowedAddresses::Add
  std::string tags;                // path of the list of tags; empty for none
};

// Who may come in.
struct Admission {
  AllowedAddresses allowed;
  Tags tags;
};

// Reads all sources. Throws std::runtime_error if any of them is wrong.
[[nodiscard]] Admission ReadAdmission(const AdmissionSources& sources);

// An address by itself: one of IPv4 that came in the clothes of IPv6 is one of IPv4, and which of this
// machine's links it came by doesn't count.
[[nodiscard]] asio::ip::address Plain(const asio::ip::address& address);

}  // namespace tvl::server

#endif
