#ifndef TVL_ENGINE_POSTGRES_SESSION_H
#define TVL_ENGINE_POSTGRES_SESSION_H

#include <libpq-fe.h>

#include <chrono>
#include <initializer_list>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tvl::engine {

struct ResultDeleter {
  void operator()(PGresult* result) const { PQclear(result); }
};
using Result = std::unique_ptr<PGresult, ResultDeleter>;
using Results = std::vector<Result>;

// Returns a column of a row as the bytes that were sent.
[[nodiscard]] std::string_view Column(const Result& result, int row, int column);

// A statement with a name under which a session prepares it once.
struct Statement {
  std::string name;
  std::string sql;
};

// A connection to the database server, in the pipeline mode of libpq: commands are queued and sent without
// waiting, until Finish collects their results. One thread uses it at a time. A forked child must not.
class Session {
 public:
  enum class Outcome {
    kDone,     // all commands succeeded
    kRefused,  // a command failed, and those after it were skipped
    kLost,     // the connection broke; what the server has done is unknown
  };

  // Connects by a service of the administrator's file. Refuses a server that may lose what it has committed:
  // a standby, and one that does not sync. Returns null and notes an error on failure.
  [[nodiscard]] static std::unique_ptr<Session> Connect(const std::string& service);

  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session();

  // Returns false if the connection is broken, for example because the server was restarted meanwhile.
  [[nodiscard]] bool IsUsable();

  // Queues a command, with parameters that are bytes.
  void Queue(const char* sql);
  void Queue(const std::string& sql, std::initializer_list<std::string_view> parameters);

  // Prepares a statement, in a round trip of its own, unless that was done. Nothing may be queued.
  [[nodiscard]] Outcome Prepare(const Statement& statement);

  // Queues a statement, faster if it was prepared.
  void Queue(const Statement& statement, std::initializer_list<std::string_view> parameters);

  // Makes the server send the results of the commands so far without waiting for the others.
  void QueueFlush();

  // Sends what is queued and stores the results in the order of the commands: of those that succeeded, up to
  // one that failed, or up to where the connection broke. Notes an error unless the outcome is kDone.
  [[nodiscard]] Outcome Finish(Results& results);

  // The same for a single command.
  [[nodiscard]] Outcome Run(const std::string& sql, std::initializer_list<std::string_view> parameters,
                            Result& result);

  // Returns whether the server warned since the last call. A commit that the standby may not have is only
  // warned of.
  [[nodiscard]] bool TakeWarning();

 private:
  explicit Session(PGconn* connection) : connection_(connection) {}

  [[nodiscard]] bool SetUp();
  void Require(int sent);
  [[nodiscard]] bool AwaitResult(std::chrono::steady_clock::time_point deadline);
  static void ReceiveNotice(void* session, const PGresult* notice);
  void NoteLoss(const char* reason);
  void Unguard();

  PGconn* connection_;
  bool is_broken_ = false;
  bool has_warned_ = false;
  int guarded_ = -1;  // the socket, as long as a forked child must not use it
  std::set<std::string, std::less<>> prepared_;
};

}  // namespace tvl::engine

#endif
