#include "server/status/status_feed.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

#include "base/utf8.h"
#include "server/log/hexadecimal.h"

namespace tvl::server {
namespace {

using nlohmann::json;

// A little less than the period of the events, so that each stream's event brings something new.
constexpr std::chrono::milliseconds kCurrent(900);
constexpr std::chrono::milliseconds kPatience(300);

void SetText(json& object, const std::string& key, std::string_view value) {
  if (IsUtf8(value)) {
    object[key] = value;
  } else {
    object[key + "_hex"] = Hexadecimal(value);
  }
}

std::int64_t Milliseconds(std::chrono::system_clock::time_point time) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

void SetClient(json& object, const ClientRecord::Identity& identity) {
  SetText(object, "address", identity.address);
  SetText(object, "computer", identity.computer);
  SetText(object, "user", identity.user);
  SetText(object, "class", identity.client_class);
  object["number"] = identity.number;
}

json DescribeClients(const std::vector<ClientBoard::Entry>& clients, std::size_t most) {
  json rows = json::array();
  for (const ClientBoard::Entry& entry : clients) {
    if (rows.size() == most) break;
    const ClientRecord& record = *entry.record;
    json row = {{"id", entry.id},
                {"since", Milliseconds(record.identity.since)},
                {"requests", record.requests.Value()},
                {"received", record.traffic.received.Value()},
                {"sent", record.traffic.sent.Value()},
                {"locks", record.locks.Value()}};
    SetClient(row, record.identity);
    rows.push_back(std::move(row));
  }
  return rows;
}

json DescribeLocks(const std::vector<LockRow>& locks) {
  json rows = json::array();
  for (const LockRow& lock : locks) {
    json row = {{"number", lock.instance}, {"pid", lock.pid}, {"alive", lock.alive}};
    SetText(row, "object", lock.object);
    SetText(row, "address", lock.ip);
    SetText(row, "computer", lock.computer);
    SetText(row, "user", lock.user);
    SetText(row, "class", lock.client_class);
    rows.push_back(std::move(row));
  }
  return rows;
}

json DescribeStore(const StoreHealth& store) {
  return {{"problem", store.problem},
          {"free", store.free_bytes},
          {"size", store.size_bytes},
          {"more_locks", store.more_locks}};
}

}  // namespace

std::shared_ptr<const std::string> StatusFeed::Latest() {
  const std::lock_guard<std::mutex> guard(mutex_);
  const Clock::time_point now = Clock::now();
  if (latest_ && now - made_ < kCurrent) return latest_;
  const std::shared_ptr<const StoreHealth> store = probe_.Look(kPatience);
  latest_ = std::make_shared<const std::string>(Describe(now, *store).dump());
  made_ = now;
  return latest_;
}

json StatusFeed::Describe(Clock::time_point now, const StoreHealth& store) {
  const Clients clients = service_.status.clients.List();
  json state;
  json& server = state["server"] = {{"version", TVL_VERSION},
                                    {"started", Milliseconds(service_.started)},
                                    {"time", Milliseconds(std::chrono::system_clock::now())}};
  SetText(server, "name", service_.long_name);
  json totals = DescribeTotals(now, clients.size());
  std::size_t transfers = 0;
  state["transfers"] = DescribeTransfers(now, clients, transfers);
  totals["transfers"] = transfers;
  state["totals"] = std::move(totals);
  state["store"] = DescribeStore(store);
  state["clients"] = DescribeClients(clients, kMostRows);
  state["locks"] = DescribeLocks(store.locks);
  state["refusals"] = DescribeRefusals();
  return state;
}

json StatusFeed::DescribeTotals(Clock::time_point now, std::size_t clients) {
  const Metrics& metrics = service_.status.metrics;
  const std::uint64_t received = metrics.traffic.received.Value();
  const std::uint64_t sent = metrics.traffic.sent.Value();
  return {{"clients", clients},
          {"clients_limit", service_.options.max_clients},
          {"held_locks", metrics.held_locks.Value()},
          {"parts", metrics.parts.Value()},
          {"received", received},
          {"sent", sent},
          {"received_rate", Rate(received_, {now, received})},
          {"sent_rate", Rate(sent_, {now, sent})},
          {"waiting",
           {{"files", metrics.files.waiting.Value()},
            {"hashing", metrics.first_pieces.waiting.Value() + metrics.hashing.waiting.Value()},
            {"engine", metrics.engine.waiting.Value()}}}};
}

// Bytes per second between two samples; the later one takes the place of the other.
double StatusFeed::Rate(Sample& last, const Sample& now) {
  const Sample before = std::exchange(last, now);
  const double seconds = std::chrono::duration<double>(now.time - before.time).count();
  if (before.time == Clock::time_point() || seconds <= 0) return 0;
  return static_cast<double>(now.bytes - before.bytes) / seconds;
}

// A transfer that was not there at the last look has its rate since its beginning.
json StatusFeed::DescribeTransfers(Clock::time_point now, const Clients& clients, std::size_t& count) {
  json rows = json::array();
  std::map<std::uint64_t, Sample> samples;
  for (const ClientBoard::Entry& entry : clients) {
    const std::optional<ClientRecord::Transfer> transfer = entry.record->RunningTransfer();
    if (!transfer) continue;
    ++count;
    Sample last = {transfer->began, 0, transfer->number};
    const auto known = transfers_.find(entry.id);
    if (known != transfers_.end() && known->second.transfer == transfer->number) last = known->second;
    const double rate = Rate(last, {now, transfer->bytes, transfer->number});
    samples.emplace(entry.id, last);
    if (rows.size() == kMostRows) continue;
    json row = {{"id", entry.id},
                {"direction", transfer->direction == ClientRecord::Direction::kGet ? "get" : "put"},
                {"bytes", transfer->bytes},
                {"seconds", std::max(0.0, std::chrono::duration<double>(now - transfer->began).count())},
                {"rate", rate}};
    SetText(row, "name", transfer->name);
    SetClient(row, entry.record->identity);
    rows.push_back(std::move(row));
  }
  transfers_ = std::move(samples);
  return rows;
}

json StatusFeed::DescribeRefusals() const {
  json rows = json::array();
  for (const RecentRefusals::Refusal& refusal : service_.status.refusals.List()) {
    json row = {{"time", Milliseconds(refusal.time)}, {"reason", NameOf(refusal.reason)}};
    SetText(row, "address", refusal.address);
    SetText(row, "who", refusal.who);
    rows.push_back(std::move(row));
  }
  return rows;
}

}  // namespace tvl::server
