#include "server/status/metrics_page.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <utility>

#include "server/status/exposition.h"

namespace tvl::server {
namespace {

using Type = Exposition::Type;

template <std::size_t Count>
void AddCases(Exposition& page, const char* key, const std::array<const char*, Count>& names,
              const Counters<Count>& counters) {
  for (std::size_t at = 0; at < Count; ++at) page.Add(counters[at].Value(), {key, names[at]});
}

double SecondsSince1970(std::chrono::system_clock::time_point time) {
  return std::chrono::duration<double>(time.time_since_epoch()).count();
}

void AddServer(Exposition& page, const Service& service, std::size_t event_streams) {
  page.Begin("tvlserver_build_info", Type::kGauge, "Always 1; the label is the server's version.");
  page.Add(std::uint64_t{1}, {"version", TVL_VERSION});
  page.Single("tvlserver_start_time_seconds", Type::kGauge,
              "Start time of the server, in seconds since 1970.", SecondsSince1970(service.started));
  page.Single("tvlserver_log_dropped_lines_total", Type::kCounter,
              "Log lines dropped because the log's reader did not keep up.", service.log.Dropped());
  page.Single("tvlserver_log_left_out_lines_total", Type::kCounter,
              "Log lines left out because their client caused too many.",
              service.status.metrics.lines_left_out.Value());
  page.Single("tvlserver_event_streams", Type::kGauge, "Status pages that receive events.",
              std::uint64_t{event_streams});
}

void AddClients(Exposition& page, const Service& service) {
  const Metrics& metrics = service.status.metrics;
  page.Single("tvlserver_clients", Type::kGauge, "Connected clients.",
              std::uint64_t{service.status.clients.Size()});
  page.Single("tvlserver_clients_limit", Type::kGauge,
              "Maximum number of clients connected at the same time.",
              std::uint64_t{service.options.max_clients});
  page.Single("tvlserver_enters_total", Type::kCounter, "Accepted clients.", metrics.enters.Value());
  page.Begin("tvlserver_refusals_total", Type::kCounter, "Refused connections, by reason.");
  AddCases(page, "reason", kRefusalReasons, metrics.refusals);
  page.Single("tvlserver_received_bytes_total", Type::kCounter, "Bytes received from clients.",
              metrics.traffic.received.Value());
  page.Single("tvlserver_sent_bytes_total", Type::kCounter, "Bytes sent to clients.",
              metrics.traffic.sent.Value());
}

void AddRequests(Exposition& page, const Service& service) {
  const Metrics& metrics = service.status.metrics;
  page.Begin("tvlserver_gets_total", Type::kCounter, "Finished gets, by result.");
  AddCases(page, "result", kTransferResults, metrics.gets);
  page.Begin("tvlserver_puts_total", Type::kCounter, "Finished puts, by result.");
  AddCases(page, "result", kTransferResults, metrics.puts);
  page.Begin("tvlserver_locks_total", Type::kCounter, "Answered lock requests, by the object's state.");
  AddCases(page, "state", kLockStates, metrics.locks);
  page.Begin("tvlserver_unlocks_total", Type::kCounter, "Answered unlock requests, by the object's state.");
  AddCases(page, "state", kLockStates, metrics.unlocks);
  page.Single("tvlserver_held_locks", Type::kGauge, "Locks held by clients of this server.",
              metrics.held_locks.Value());
  page.Single("tvlserver_parts", Type::kGauge, "Unfinished puts on the disk.", metrics.parts.Value());
  page.Single("tvlserver_hashed_files_total", Type::kCounter, "Files whose signature was computed.",
              std::uint64_t{service.hashes.Computed()});
}

void AddQueues(Exposition& page, const Metrics& metrics) {
  const std::pair<const char*, const QueueStats&> queues[] = {{"files", metrics.files},
                                                              {"first_pieces", metrics.first_pieces},
                                                              {"hashing", metrics.hashing},
                                                              {"engine", metrics.engine}};
  page.Begin("tvlserver_queue_waiting", Type::kGauge, "Tasks waiting in a queue.");
  for (const auto& [name, stats] : queues) page.Add(stats.waiting.Value(), {"queue", name});
  page.Begin("tvlserver_queue_length", Type::kHistogram,
             "Tasks already waiting in a queue when a task was added.");
  for (const auto& [name, stats] : queues) page.Add(stats.length, {"queue", name});
  page.Begin("tvlserver_queue_wait_seconds", Type::kHistogram,
             "Time that a task waited in a queue, in seconds.");
  for (const auto& [name, stats] : queues) page.Add(stats.wait, {"queue", name});
}

void AddStore(Exposition& page, const StoreHealth& store) {
  page.Begin("tvlserver_store_up", Type::kGauge, "1 if this part of the store responds, else 0.");
  page.Add(std::uint64_t{store.root_in_place}, {"part", "root"});
  page.Add(std::uint64_t{store.disk_answers}, {"part", "disk"});
  page.Add(std::uint64_t{store.lock_table_answers}, {"part", "lock_table"});
  if (!store.disk_answers) return;
  page.Single("tvlserver_free_bytes", Type::kGauge, "Free space on the store's disk.", store.free_bytes);
  page.Single("tvlserver_size_bytes", Type::kGauge, "Size of the store's disk.", store.size_bytes);
}

}  // namespace

std::string MetricsPage(const Service& service, const StoreHealth& store, std::size_t event_streams) {
  Exposition page;
  AddServer(page, service, event_streams);
  AddClients(page, service);
  AddRequests(page, service);
  AddQueues(page, service.status.metrics);
  AddStore(page, store);
  return page.Text();
}

}  // namespace tvl::server
