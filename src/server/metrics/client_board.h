#ifndef TVL_SERVER_METRICS_CLIENT_BOARD_H
#define TVL_SERVER_METRICS_CLIENT_BOARD_H

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "server/metrics/client_record.h"

namespace tvl::server {

// The clients that are connected, in the order in which they came. Any thread may use it.
class ClientBoard {
 public:
  struct Entry {
    std::uint64_t id;  // no two clients of a server have the same
    std::shared_ptr<const ClientRecord> record;
  };

  // The id of the new entry.
  [[nodiscard]] std::uint64_t Add(std::shared_ptr<const ClientRecord> record) {
    const std::lock_guard<std::mutex> guard(mutex_);
    records_.emplace(++last_, std::move(record));
    return last_;
  }

  void Remove(std::uint64_t id) {
    const std::lock_guard<std::mutex> guard(mutex_);
    records_.erase(id);
  }

  [[nodiscard]] std::size_t Size() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return records_.size();
  }

  [[nodiscard]] std::vector<Entry> List() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    std::vector<Entry> entries;
    for (const auto& [id, record] : records_) entries.push_back({id, record});
    return entries;
  }

 private:
  mutable std::mutex mutex_;
  std::map<std::uint64_t, std::shared_ptr<const ClientRecord>> records_;
  std::uint64_t last_ = 0;
};

}  // namespace tvl::server

#endif
