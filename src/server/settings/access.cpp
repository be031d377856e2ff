#include "server/settings/access.h"

#include <fcntl.h>
#include <net/if.h>

#include <algorithm>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "host/descriptor.h"
#include "host/read_all.h"
#include "host/system_calls.h"
#include "server/files/names.h"

namespace tvl::server {
namespace {

constexpr std::size_t kLargestList = 16U << 20U;
constexpr std::string_view kBlanks = " \t\r";
constexpr unsigned int kMappedBits = 96;  // of an IPv6 address, before the mapped IPv4 address

bool EqualInConstantTime(std::string_view given, std::string_view expected) {
  unsigned int difference = given.size() == expected.size() ? 0 : 1;
  for (std::size_t i = 0; i < given.size(); ++i) {
    const char other = expected.empty() ? '\0' : expected[i % expected.size()];
    difference |=
        static_cast<unsigned char>(given[i]) ^ static_cast<unsigned int>(static_cast<unsigned char>(other));
  }
  return difference == 0;
}

std::string Trimmed(std::string_view line) {
  const std::size_t first = line.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return std::string(line.substr(first, line.find_last_not_of(kBlanks) - first + 1));
}

Right RightNamed(std::string_view word) {
  if (word == "write") return Right::kWrite;
  return word == "read" ? Right::kRead : Right::kNone;
}

// A link-local address may be followed by "%" and the name or number of its link. The parser of addresses
// accepts anything there, so that a typing error would go unnoticed.
bool HasGoodLink(std::string_view network) {
  const std::size_t percent = network.find('%');
  if (percent == std::string_view::npos) return true;
  const std::string_view rest = network.substr(percent + 1);
  const std::string_view link = rest.substr(0, rest.find('/'));
  return !link.empty() && link.size() < IF_NAMESIZE && link.find_first_of(":,% \t") == std::string_view::npos;
}

std::string ReadList(const std::string& path, const char* what) {
  std::string contents;
  const Descriptor file(System().open(path.c_str(), O_RDONLY | O_CLOEXEC, 0));
  const int problem = file.IsOpen() ? ReadAll(file.Get(), contents, kLargestList) : errno;
  if (problem == 0) return contents;
  throw std::runtime_error(std::string(what) + " cannot be read: " + path + ": " +
                           std::generic_category().message(problem));
}

// Calls `take` with each line of a file and its number, without blanks at both ends. Skips empty lines and
// comments.
template <typename Take>
void ForEachLine(const std::string& path, const char* what, Take take) {
  const std::string contents = ReadList(path, what);
  std::string_view rest = contents;
  for (int number = 1; !rest.empty(); ++number) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    const std::string trimmed = Trimmed(line);
    if (!trimmed.empty() && trimmed[0] != '#') take(trimmed, number);
  }
}

}  // namespace

asio::ip::address Plain(const asio::ip::address& address) {
  if (!address.is_v6()) return address;
  if (address.to_v6().is_v4_mapped()) return asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6());
  return asio::ip::address_v6(address.to_v6().to_bytes());
}

void AllowedAddresses::Add(const std::string& network) {
  if (network.starts_with('@')) {
    AddFile(network.substr(1));
  } else {
    AddNetwork(network);
  }
}

// An empty list would admit everyone, which is hardly what its author meant.
void AllowedAddresses::AddFile(const std::string& path) {
  bool added = false;
  ForEachLine(path, "list of networks", [&](const std::string& line, int number) {
    try {
      AddNetwork(line);
    } catch (const std::runtime_error& problem) {
      throw std::runtime_error(path + ", line " + std::to_string(number) + ": " + problem.what());
    }
    added = true;
  });
  if (!added) throw std::runtime_error("the list of networks is empty: " + path);
}

// A network of IPv4 addresses written as IPv6 is stored as IPv4, because the addresses of clients are
// compared in that form.
void AllowedAddresses::AddNetwork(const std::string& network) {
  const bool single = network.find('/') == std::string::npos;
  asio::error_code problem;
  const asio::ip::network_v4 v4 = asio::ip::make_network_v4(single ? network + "/32" : network, problem);
  if (!problem) {
    v4_.push_back(v4.canonical());
    return;
  }
  const asio::ip::network_v6 v6 = asio::ip::make_network_v6(single ? network + "/128" : network, problem);
  if (problem || !HasGoodLink(network))
    throw std::runtime_error("not a valid address or network: " + network);
  if (v6.address().is_v4_mapped() && v6.prefix_length() >= kMappedBits) {
    const auto bits = static_cast<unsigned short>(v6.prefix_length() - kMappedBits);
    v4_.push_back(asio::ip::network_v4(Plain(v6.address()).to_v4(), bits).canonical());
    return;
  }
  // Without the link in an address such as fe80::1%eth0, as clients' addresses are compared.
  const asio::ip::address_v6 address(v6.address().to_bytes());
  v6_.push_back(asio::ip::network_v6(address, v6.prefix_length()).canonical());
}

bool AllowedAddresses::Allows(const asio::ip::address& address) const {
  if (v4_.empty() && v6_.empty()) return true;
  const asio::ip::address plain = Plain(address);
  if (plain.is_v4()) {
    return std::any_of(v4_.begin(), v4_.end(), [&](const asio::ip::network_v4& network) {
      return asio::ip::network_v4(plain.to_v4(), network.prefix_length()).canonical() == network;
    });
  }
  return std::any_of(v6_.begin(), v6_.end(), [&](const asio::ip::network_v6& network) {
    return asio::ip::network_v6(plain.to_v6(), network.prefix_length()).canonical() == network;
  });
}

NameList::NameList(const std::string& path) : open_to_all_(false) {
  ForEachLine(path, "list of names", [&](const std::string& line, int number) {
    Entry entry = ParseLine(line);
    if (entry.right == Right::kNone) {
      throw std::runtime_error(path + ", line " + std::to_string(number) +
                               ": expected a name, \"read\" or \"write\", and optionally a folder, "
                               "separated by tabs");
    }
    entries_.push_back(std::move(entry));
  });
}

NameList::Entry NameList::ParseLine(const std::string& line) {
  const std::size_t tab = line.find('\t');
  // Without a tab, the right is the last word, so that a name may contain blanks.
  const std::size_t split = tab != std::string::npos ? tab : line.find_last_of(kBlanks);
  if (split == std::string::npos) return {};
  const std::string rest = line.substr(split + 1);
  const std::size_t second = std::min(rest.find('\t'), rest.size());
  Entry entry = {Trimmed(line.substr(0, split)), RightNamed(Trimmed(rest.substr(0, second)))};
  if (second == rest.size()) return entry;
  entry.folder = Trimmed(rest.substr(second + 1));
  while (entry.folder.ends_with('/')) entry.folder.pop_back();
  // A folder that no clean name can be in would grant nothing, which its author would not notice.
  if (CleanName(entry.folder) != entry.folder) entry.right = Right::kNone;
  return entry;
}

Rights NameList::RightsOf(std::string_view name) const {
  Rights rights;
  if (open_to_all_) rights.Grant("", Right::kWrite);
  for (const Entry& entry : entries_) {
    if (EqualInConstantTime(name, entry.name)) rights.Grant(entry.folder, entry.right);
  }
  return rights;
}

void Rights::Grant(const std::string& folder, Right right) {
  Right& granted = grants_[folder];
  granted = std::max(granted, right);
}

Right Rights::At(std::string_view path) const {
  for (std::size_t end = path.rfind('/'); end != std::string_view::npos; end = path.rfind('/', end - 1)) {
    const auto grant = grants_.find(std::string(path.substr(0, end)));
    if (grant != grants_.end()) return grant->second;
    if (end == 0) break;
  }
  const auto everywhere = grants_.find("");
  return everywhere == grants_.end() ? Right::kNone : everywhere->second;
}

Admission ReadAdmission(const AdmissionSources& sources) {
  Admission admission;
  for (const std::string& network : sources.allow) admission.allowed.Add(network);
  if (!sources.tags.empty()) admission.tags = NameList(sources.tags);
  if (!sources.users.empty()) admission.users = NameList(sources.users);
  return admission;
}

}  // namespace tvl::server
