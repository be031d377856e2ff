#ifndef TVL_SERVER_STATUS_HOST_GUARD_H
#define TVL_SERVER_STATUS_HOST_GUARD_H

#include <string>

namespace tvl::server {

// Which Host headers are accepted. A page from elsewhere whose name its owner lets lead to this computer
// sends that name, and must not be able to read the status through a visitor's browser.
class HostGuard {
 public:
  // `configured`: the name or address that is listened on.
  explicit HostGuard(std::string configured);

  // True for names and addresses of the loopback interface and for the configured host, with any port. Where
  // every address is listened on, true for every address: a name is what such an attack needs.
  [[nodiscard]] bool Allows(const std::string& header) const;

 private:
  std::string configured_;
  bool is_any_address_;
};

}  // namespace tvl::server

#endif
