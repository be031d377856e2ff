#ifndef TVL_SERVER_SETTINGS_ACCESS_H
#define TVL_SERVER_SETTINGS_ACCESS_H

#include <asio/ip/address.hpp>
#include <asio/ip/network_v4.hpp>
#include <asio/ip/network_v6.hpp>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tvl::server {

enum class Right { kNone, kRead, kWrite };

// Addresses from which clients are admitted. If there are none, all are.
class AllowedAddresses {
 public:
  // Adds a network: an address, or an address with "/" and the length of the prefix. "@FILE" adds every
  // network in the file, one per line. Throws std::runtime_error for anything else.
  void Add(const std::string& network);

  [[nodiscard]] bool Allows(const asio::ip::address& address) const;

 private:
  void AddFile(const std::string& path);
  void AddNetwork(const std::string& network);

  std::vector<asio::ip::network_v4> v4_;
  std::vector<asio::ip::network_v6> v6_;
};

// The rights of one client, by folder.
class Rights {
 public:
  // Grants `right` in a folder of the store ("" for all of it) and below it. Of several grants, that of the
  // innermost folder applies; of several for one folder, the largest.
  void Grant(const std::string& folder, Right right);

  // Returns true if there is any grant.
  [[nodiscard]] bool AdmitsAnything() const { return !grants_.empty(); }

  // Returns the right on a file, by its clean name (names.h).
  [[nodiscard]] Right At(std::string_view path) const;

 private:
  std::map<std::string, Right> grants_;  // by folder, without a slash at the end
};

// Admitted names with their rights. Without a list, every name has all rights.
class NameList {
 public:
  NameList() = default;

  // Reads a file with one entry per line: a name, a tab, "read" or "write", and optionally a tab and the
  // folder to which this applies. Name and right may also be separated by a blank. Skips empty lines and
  // those that begin with "#". Throws std::runtime_error if the file cannot be read or contains any other
  // line.
  explicit NameList(const std::string& path);

  // Takes the same time regardless of the names in the list and of where they differ.
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

// The sources of the rules for admission, from the command line.
struct AdmissionSources {
  std::vector<std::string> allow;  // arguments of AllowedAddresses::Add
  std::string tags;                // path of the list of client tags; empty for none
  std::string users;               // path of the list of names in certificates; empty for none
};

// The rules for admission.
struct Admission {
  AllowedAddresses allowed;
  NameList tags;
  NameList users;
};

// Reads all sources. Throws std::runtime_error if any of them is invalid.
[[nodiscard]] Admission ReadAdmission(const AdmissionSources& sources);

// Returns an address in canonical form: a mapped IPv4 address as IPv4, and without the scope of a link-local
// address.
[[nodiscard]] asio::ip::address Plain(const asio::ip::address& address);

}  // namespace tvl::server

#endif
