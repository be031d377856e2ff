#ifndef TVL_SERVER_WIRE_CLIENT_COUNT_H
#define TVL_SERVER_WIRE_CLIENT_COUNT_H

#include <asio/ip/address.hpp>
#include <cstddef>
#include <map>

namespace tvl::server {

// The number of clients, in total and by address. Used on the network thread only.
class ClientCount {
 public:
  // 0 for `most_per_address` means no limit.
  ClientCount(std::size_t most, std::size_t most_per_address)
      : most_(most), most_per_address_(most_per_address) {}

  [[nodiscard]] std::size_t All() const { return all_; }

  [[nodiscard]] bool HasPlaceFor(const asio::ip::address& address) const {
    const auto found = by_address_.find(address);
    const std::size_t from_there = found == by_address_.end() ? 0 : found->second;
    return all_ < most_ && (most_per_address_ == 0 || from_there < most_per_address_);
  }

  void Add(const asio::ip::address& address) {
    ++by_address_[address];
    ++all_;
  }

  void Remove(const asio::ip::address& address) {
    const auto found = by_address_.find(address);
    if (--found->second == 0) by_address_.erase(found);
    --all_;
  }

 private:
  const std::size_t most_;
  const std::size_t most_per_address_;
  std::map<asio::ip::address, std::size_t> by_address_;
  std::size_t all_ = 0;
};

}  // namespace tvl::server

#endif
