#ifndef TVL_SERVER_METRICS_SHOWN_TRANSFER_H
#define TVL_SERVER_METRICS_SHOWN_TRANSFER_H

#include <string>

#include "server/metrics/client_record.h"

namespace tvl::server {

// Shows a transfer as running for as long as it exists.
class ShownTransfer {
 public:
  ShownTransfer(ClientRecord& record, ClientRecord::Direction direction, const std::string& name)
      : record_(record) {
    record.BeginTransfer(direction, name);
  }
  ~ShownTransfer() { record_.EndTransfer(); }
  ShownTransfer(const ShownTransfer&) = delete;
  ShownTransfer& operator=(const ShownTransfer&) = delete;

 private:
  ClientRecord& record_;
};

}  // namespace tvl::server

#endif
