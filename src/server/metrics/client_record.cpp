#include "server/metrics/client_record.h"

namespace tvl::server {

void ClientRecord::BeginTransfer(Direction direction, const std::string& name) {
  const std::lock_guard<std::mutex> guard(mutex_);
  transfer_ = {++transfers_, direction, name.substr(0, kLongestShownName), std::chrono::steady_clock::now(),
               Travelled(direction)};
}

void ClientRecord::EndTransfer() {
  const std::lock_guard<std::mutex> guard(mutex_);
  transfer_.reset();
}

std::optional<ClientRecord::Transfer> ClientRecord::RunningTransfer() const {
  const std::lock_guard<std::mutex> guard(mutex_);
  std::optional<Transfer> running = transfer_;
  if (running) running->bytes = Travelled(running->direction) - running->bytes;
  return running;
}

}  // namespace tvl::server
