#ifndef TVL_SERVER_SESSIONS_SESSION_H
#define TVL_SERVER_SESSIONS_SESSION_H

#include <asio/awaitable.hpp>
#include <asio/ip/tcp.hpp>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "server/log/line_budget.h"
#include "server/log/log.h"
#include "server/metrics/client_record.h"
#include "server/sessions/instance.h"
#include "server/sessions/lobby.h"
#include "server/sessions/service.h"
#include "server/settings/access.h"
#include "server/wire/conversation.h"
#include "server/wire/entrance.h"
#include "server/wire/handshake.h"
#include "server/wire/stream.h"

namespace tvl::server {

// One client, from its connection to its end. Runs on the thread of its executor; work that may wait for the
// disk or the lock table runs elsewhere.
class Session {
 public:
  // `lobby` contains the session until it is accepted.
  Session(Service& service, asio::ip::tcp::socket socket, Entrance entrance, Lobby& lobby);
  ~Session() { lobby_.Remove(*this); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Serves the client until one side ends the connection. The session must outlive this.
  asio::awaitable<void> Run();

  // Applies changed rules for admission: a client that they no longer admit is disconnected.
  void Readmit();

  // Completes the current request, and then ends.
  void Finish();

  // Ends at once and drops an unfinished put.
  void Cut();

 private:
  // Returns false to end the session.
  using Answer = asio::awaitable<bool> (Session::*)(std::string_view);
  struct Command {
    char letter;
    Answer answer;
  };
  static const Command kCommands[];

  asio::awaitable<void> Serve();
  asio::awaitable<bool> Admit();
  asio::awaitable<bool> Enter();
  struct Refusal {
    RefusalReason reason;
    const char* note;
  };
  asio::awaitable<bool> MeetProxy(std::chrono::steady_clock::time_point until);
  void TakeIdentity(Handshake sent);
  void FindRights();
  [[nodiscard]] bool LacksCertificate() const;
  [[nodiscard]] const Refusal* FindRefusal() const;
  [[nodiscard]] Right RightAt(const std::string& name) const;
  asio::awaitable<void> Refuse(const Refusal& refusal);
  void NoteRefusal(const Refusal& refusal);
  asio::awaitable<void> Exchange();
  asio::awaitable<bool> Dispatch(std::string_view command);
  asio::awaitable<void> Leave();

  template <typename GetOrPut>
  asio::awaitable<bool> TransferFile(std::string_view command);
  asio::awaitable<bool> LockObject(std::string_view command);

  [[nodiscard]] std::string Who() const;
  void Report(Event event);
  void ReportRequest(Event event);
  [[nodiscard]] std::string Address() const;
  void ShowOnBoard();

  Service& service_;
  const std::shared_ptr<ClientRecord> record_;
  const std::shared_ptr<Stream> stream_;
  Conversation client_;
  Lobby& lobby_;
  std::unique_ptr<Instance> instance_;  // created, used and destroyed on the engine thread
  Handshake identity_;
  std::string tag_;
  std::optional<std::string> certificate_name_;
  const Entrance entrance_;
  bool quiet_ = false;     // not a client, and not logged
  bool answered_ = false;  // it was accepted or refused
  int number_ = 0;
  std::uint64_t board_id_ = 0;  // 0 while it is not on the board of clients
  LineBudget line_budget_;
  std::uint64_t lines_left_out_ = 0;
  Rights tag_rights_;
  Rights user_rights_;
  bool admitted_ = false;
  bool between_ = true;  // no request is in progress
};

}  // namespace tvl::server

#endif
