#ifndef TVL_SERVER_ACCESS_H
#define TVL_SERVER_ACCESS_H

#include <asio/ip/address.hpp>
#include <asio/ip/network_v4.hpp>
#include <asio/ip/network_v6.hpp>
#include <map>
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

// What one client may do, by folder.
class Rights {
 public:
  // Grants `right` in a folder of the store ("" for all of it) and below it. Of several grants, the one of
  // the innermost folder counts; of several for one folder, the largest.
  void Grant(const std::string& folder, Right right);

  // True if there is any grant.
  [[nodiscard]] bool AdmitsAnything() const { return !grants_.empty(); }

  // The right on a file, by its clean name (names.h).
  [[nodiscard]] Right At(std::string_view path) const;

 private:
  std::map<std::string, Right> grants_;  // by folder, without a slash at the end
};

// Names that are admitted and what they may do. Without a list, any name may do everything.
class NameList {
 public:
  NameList() = default;

  // Reads a file with one entry per line: a name, a tab, "read" or "write", and optionally a tab and the
  // folder in which that holds. A blank may separate name and right too. Empty lines and those that begin
  // with "#" are skipped. Throws std::runtime_error for a file that cannot be read or contains any other
  // line.
  explicit NameList(const std::string& path);

  // Takes the same time whatever names are in the list and wherever they differ.
  [[nodiscard]] Rights RightsOf(std::string_view name) const;

 private:
  struct Entry {
    std::string name;
    Right right = Right::kNone;
    std::string folder = {};
  };

  static Entry ParseLine(const std::string& line);

  bool open_to_all_ = true;
  std::vector<Entry> entries_;
};

// Where the rules for admission come from, as the command line names them.
struct AdmissionSources {
  std::vector<std::string> allow;  // arguments of AllowedAddresses::Add
  std::string tags;                // path of the list of client tags; empty for none
  std::string users;               // path of the list of names in certificates; empty for none
};

// Who may come in.
struct Admission {
  AllowedAddresses allowed;
  NameList tags;
  NameList users;
};

// Reads all sources. Throws std::runtime_error if any of them is wrong.
[[nodiscard]] Admission ReadAdmission(const AdmissionSources& sources);

// An address by itself: one of IPv4 that came in the clothes of IPv6 is one of IPv4, and which of this
// machine's links it came by doesn't count.
[[nodiscard]] asio::ip::address Plain(const asio::ip::address& address);

}  // namespace tvl::server

#endif
