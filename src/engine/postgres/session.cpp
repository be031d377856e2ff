#include "engine/postgres/session.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "engine/last_error.h"
#include "host/fork_guard.h"

namespace tvl::engine {
namespace {

using std::string_view;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// The maximum wait for an answer. Longer than the wait for a lock, which the server limits (kSetUp).
constexpr milliseconds kReplyWait{10'500};

// A session that has prepared the statements of many tables is replaced by a new one.
constexpr std::size_t kMostPrepared = 400;

// Used where the service sets nothing, because the system would notice a dead computer after hours or never.
constexpr struct {
  const char* keyword;
  const char* value;
} kDefaults[] = {
    {"connect_timeout", "3"},  {"keepalives_idle", "4"},      {"keepalives_interval", "2"},
    {"keepalives_count", "3"}, {"tcp_user_timeout", "10000"}, {"fallback_application_name", "tvlclient"},
};

// Index scans only: a plan for a few rows in the order of a key needs no statistics. The keep-alives are
// those of the server, which has to notice a dead client that holds a lock.
constexpr char kSetUp[] =
    "SET lock_timeout = '10s'; SET statement_timeout = 0; SET idle_in_transaction_session_timeout = 0;"
    "SET default_transaction_isolation = 'read committed'; SET default_transaction_read_only = off;"
    "SET client_min_messages = warning; SET plan_cache_mode = force_generic_plan; SET jit = off;"
    "SET enable_seqscan = off; SET enable_bitmapscan = off; SET enable_sort = off;"
    "SET tcp_keepalives_idle = 4; SET tcp_keepalives_interval = 2; SET tcp_keepalives_count = 3;"
    "SET tcp_user_timeout = 10000;"
    "SELECT set_config('synchronous_commit', 'on', false)"
    " WHERE current_setting('synchronous_commit') NOT IN ('on', 'remote_apply');"
    "SELECT pg_is_in_recovery(), current_setting('fsync') = 'on', current_setting('full_page_writes') = 'on'";

constexpr struct {
  const char* code;
  Problem problem;
} kProblems[] = {
    {"55P03", Problem::kBusy},     {"40P01", Problem::kBusy},     {"57014", Problem::kBusy},
    {"25006", Problem::kReadOnly}, {"42501", Problem::kReadOnly}, {"XX001", Problem::kDamaged},
    {"XX002", Problem::kDamaged},
};

Problem ProblemOf(const PGresult* result) {
  const char* const code = PQresultErrorField(result, PG_DIAG_SQLSTATE);
  for (const auto& known : kProblems) {
    if (code != nullptr && string_view(code) == known.code) return known.problem;
  }
  return Problem::kUnusable;
}

std::string FirstLine(const char* text) {
  return std::string(text, std::strcspn(text, "\n"));
}

void NoteRefusal(const PGresult* result) {
  const char* const text = PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY);
  NoteError((std::string("PostgreSQL: ") + (text == nullptr ? "the command failed" : text)).c_str(),
            ProblemOf(result));
}

// Parameters of a connection for libpq.
class Keywords {
 public:
  explicit Keywords(const std::string& service) { Add("service", service.c_str()); }
  void Add(const char* keyword, const char* value) {
    keywords_.insert(keywords_.end() - 1, keyword);
    values_.insert(values_.end() - 1, value);
  }
  [[nodiscard]] const char* const* Names() const { return keywords_.data(); }
  [[nodiscard]] const char* const* Values() const { return values_.data(); }

 private:
  std::vector<const char*> keywords_ = {nullptr};
  std::vector<const char*> values_ = {nullptr};
};

constexpr std::size_t kMostParameters = 4;

// Parameters in the form of libpq.
struct Values {
  explicit Values(std::initializer_list<string_view> parameters) {
    for (const string_view parameter : parameters) {
      bytes[count] = parameter.data();
      lengths[count++] = static_cast<int>(parameter.size());
    }
  }

  std::size_t count = 0;
  std::array<const char*, kMostParameters> bytes = {};
  std::array<int, kMostParameters> lengths = {};
  std::array<int, kMostParameters> formats = {1, 1, 1, 1};
};

struct ConnectionCloser {
  void operator()(PGconn* connection) const { PQfinish(connection); }
};

struct OptionsDeleter {
  void operator()(PQconninfoOption* options) const { PQconninfoFree(options); }
};

bool HasValue(const PQconninfoOption* option, string_view keyword) {
  for (; option->keyword != nullptr; ++option) {
    if (option->keyword == keyword) return option->val != nullptr && *option->val != 0;
  }
  return true;  // this libpq does not know it
}

// Parameters have precedence over the service, whose settings can only be asked of a connection that has been
// started.
void AddMissingDefaults(Keywords& keywords) {
  const std::unique_ptr<PGconn, ConnectionCloser> probe(
      PQconnectStartParams(keywords.Names(), keywords.Values(), 0));
  const std::unique_ptr<PQconninfoOption, OptionsDeleter> options(PQconninfo(probe.get()));
  if (options == nullptr) return;
  for (const auto& setting : kDefaults) {
    if (!HasValue(options.get(), setting.keyword)) keywords.Add(setting.keyword, setting.value);
  }
}

bool IsTrue(const PGresult* result, int column) {
  return *PQgetvalue(result, 0, column) == 't';
}

bool Judge(const PGresult* facts) {
  if (PQresultStatus(facts) != PGRES_TUPLES_OK || PQntuples(facts) != 1 || PQnfields(facts) != 3) {
    NoteRefusal(facts);
    return false;
  }
  if (IsTrue(facts, 0)) {
    NoteError("the PostgreSQL server is a standby; the service needs target_session_attrs=read-write");
    return false;
  }
  if (!IsTrue(facts, 1) || !IsTrue(facts, 2)) {
    NoteError("the PostgreSQL server has fsync or full_page_writes off, and may lose what it has committed");
    return false;
  }
  return true;
}

}  // namespace

string_view Column(const Result& result, int row, int column) {
  return {PQgetvalue(result.get(), row, column),
          static_cast<std::size_t>(PQgetlength(result.get(), row, column))};
}

std::unique_ptr<Session> Session::Connect(const std::string& service) {
  Keywords keywords(service);
  AddMissingDefaults(keywords);
  std::unique_ptr<Session> session(new Session(PQconnectdbParams(keywords.Names(), keywords.Values(), 0)));
  if (PQstatus(session->connection_) != CONNECTION_OK) {
    session->NoteLoss(PQerrorMessage(session->connection_));
    return nullptr;
  }
  return session->SetUp() ? std::move(session) : nullptr;
}

// In a child, the socket is /dev/null: nothing that it does can end the parent's connection.
bool Session::SetUp() {
  if (ForkGuard::Add(PQsocket(connection_))) guarded_ = PQsocket(connection_);
  PQsetNoticeReceiver(connection_, ReceiveNotice, this);
  const Result facts(PQexec(connection_, kSetUp));
  if (guarded_ < 0 || !Judge(facts.get())) return false;
  return PQsetnonblocking(connection_, 1) == 0 && PQenterPipelineMode(connection_) == 1;
}

Session::~Session() {
  Unguard();
  PQfinish(connection_);
}

// When a connection breaks, libpq closes the socket, whose number may then be that of any other file.
void Session::Unguard() {
  if (guarded_ >= 0) ForkGuard::Remove(std::exchange(guarded_, -1));
}

bool Session::IsUsable() {
  if (is_broken_ || PQstatus(connection_) != CONNECTION_OK || prepared_.size() > kMostPrepared) return false;
  // What a server sends unasked is usually its end. At worst, a connection is replaced without need.
  pollfd waiting = {PQsocket(connection_), POLLIN, 0};
  return poll(&waiting, 1, 0) == 0;
}

void Session::NoteLoss(const char* reason) {
  is_broken_ = true;
  Unguard();
  NoteError(("PostgreSQL cannot be reached: " + FirstLine(reason)).c_str(), Problem::kBusy);
}

// A command that cannot even be queued is noticed when its result is missing.
void Session::Require(int sent) {
  if (sent != 1) is_broken_ = true;
}

void Session::Queue(const char* sql) {
  Require(PQsendQueryParams(connection_, sql, 0, nullptr, nullptr, nullptr, nullptr, 1));
}

void Session::Queue(const std::string& sql, std::initializer_list<string_view> parameters) {
  const Values values(parameters);
  Require(PQsendQueryParams(connection_, sql.c_str(), static_cast<int>(values.count), nullptr,
                            values.bytes.data(), values.lengths.data(), values.formats.data(), 1));
}

void Session::Queue(const Statement& statement, std::initializer_list<string_view> parameters) {
  if (!prepared_.contains(statement.name)) {
    Queue(statement.sql, parameters);
    return;
  }
  const Values values(parameters);
  Require(PQsendQueryPrepared(connection_, statement.name.c_str(), static_cast<int>(values.count),
                              values.bytes.data(), values.lengths.data(), values.formats.data(), 1));
}

Session::Outcome Session::Prepare(const Statement& statement) {
  if (prepared_.contains(statement.name)) return Outcome::kDone;
  Require(PQsendPrepare(connection_, statement.name.c_str(), statement.sql.c_str(), 0, nullptr));
  Results results;
  const Outcome outcome = Finish(results);
  if (outcome == Outcome::kDone) prepared_.insert(statement.name);
  return outcome;
}

void Session::QueueFlush() {
  Require(PQsendFlushRequest(connection_));
}

// Waits until the next result can be taken without waiting.
bool Session::AwaitResult(steady_clock::time_point deadline) {
  for (;;) {
    const int unsent = PQflush(connection_);
    if (unsent < 0) return false;
    if (unsent == 0 && PQisBusy(connection_) == 0) return true;
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - steady_clock::now());
    pollfd waiting = {PQsocket(connection_), static_cast<short>(POLLIN | (unsent > 0 ? POLLOUT : 0)), 0};
    const int ready = left.count() <= 0 ? 0 : poll(&waiting, 1, static_cast<int>(left.count()));
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return false;
    if ((waiting.revents & ~POLLOUT) != 0 && PQconsumeInput(connection_) == 0) return false;
  }
}

Session::Outcome Session::Finish(Results& results) {
  const auto deadline = steady_clock::now() + kReplyWait;
  Require(PQpipelineSync(connection_));
  Outcome outcome = Outcome::kDone;
  bool was_end = false;
  while (!is_broken_) {
    if (!AwaitResult(deadline)) {
      NoteLoss(PQstatus(connection_) == CONNECTION_OK ? "it does not answer" : PQerrorMessage(connection_));
      return Outcome::kLost;
    }
    Result result(PQgetResult(connection_));
    if (result == nullptr) {  // ends the results of a command
      if (std::exchange(was_end, true)) break;
      continue;
    }
    was_end = false;
    switch (PQresultStatus(result.get())) {
      case PGRES_PIPELINE_SYNC:
        return outcome;
      case PGRES_COMMAND_OK:
      case PGRES_TUPLES_OK:
        results.push_back(std::move(result));
        break;
      case PGRES_PIPELINE_ABORTED:
        break;
      default:
        if (PQstatus(connection_) != CONNECTION_OK) {
          NoteLoss(PQerrorMessage(connection_));
          return Outcome::kLost;
        }
        if (outcome == Outcome::kDone) NoteRefusal(result.get());
        outcome = Outcome::kRefused;
    }
  }
  NoteLoss(PQerrorMessage(connection_));
  return Outcome::kLost;
}

Session::Outcome Session::Run(const std::string& sql, std::initializer_list<string_view> parameters,
                              Result& result) {
  Queue(sql, parameters);
  Results results;
  const Outcome outcome = Finish(results);
  if (!results.empty()) result = std::move(results.front());
  return outcome;
}

void Session::ReceiveNotice(void* session, const PGresult* /*notice*/) {
  static_cast<Session*>(session)->has_warned_ = true;
}

bool Session::TakeWarning() {
  return std::exchange(has_warned_, false);
}

}  // namespace tvl::engine
