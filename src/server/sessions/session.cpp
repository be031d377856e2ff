#include "server/sessions/session.h"

#include <algorithm>
#include <exception>
#include <functional>
#include <stdexcept>
#include <utility>

#include <tvlclient/errors.h>

#include "server/sessions/get_exchange.h"
#include "server/sessions/put_exchange.h"
#include "tcp/protocol.h"

namespace tvl::server {
namespace {

constexpr char kNoAddress[] = "0.0.0.0";
constexpr char kThisMachine[] = "127.0.0.1";

// Returns the address for markers and lock rows, which can store IPv4 only.
std::string DottedAddress(const asio::ip::address& address) {
  const asio::ip::address plain = Plain(address);
  if (plain.is_v4()) return plain.to_string();
  return plain.is_loopback() ? kThisMachine : kNoAddress;
}

}  // namespace

const Session::Command Session::kCommands[] = {{protocol::kGet, &Session::TransferFile<GetExchange>},
                                               {protocol::kPut, &Session::TransferFile<PutExchange>},
                                               {protocol::kLock, &Session::LockObject},
                                               {protocol::kUnlock, &Session::LockObject}};

Session::Session(Service& service, asio::ip::tcp::socket socket, Entrance entrance, Lobby& lobby)
    : service_(service),
      record_(std::make_shared<ClientRecord>()),
      stream_(std::make_shared<Stream>(
          std::move(socket), Stream::Limits{service.options.send_timeout, service.options.peer_timeout},
          Stream::Meters{{record_, &record_->traffic}, service.status.metrics.traffic})),
      client_(stream_, service.options.idle_timeout),
      lobby_(lobby),
      entrance_(entrance) {}

asio::awaitable<void> Session::Run() {
  const Stopwatch watch;
  std::string problem;
  try {
    co_await Serve();
  } catch (const std::exception& exception) {
    problem = exception.what();
  }
  // When a client sees the connection end, its locks must already be released.
  co_await Leave();
  if (!answered_ && !quiet_) service_.status.metrics.refusals[RefusalReason::kHandshake].Add();
  stream_->Close();
  if (problem.empty()) problem = stream_->Ending();
  if (quiet_) co_return;
  Event event = {.what = "end", .duration = watch.Elapsed(), .note = problem};
  Report(std::move(event));
}

void Session::Finish() {
  client_.Finish();
  if (between_) stream_->Cut();
}

void Session::Cut() {
  client_.Finish();
  stream_->Cut();
}

asio::awaitable<void> Session::Serve() {
  const bool admitted = co_await Admit();
  if (admitted) co_await Exchange();
}

// Performs the handshake. Returns false if the client was refused or is gone.
asio::awaitable<bool> Session::Admit() {
  const auto until = std::chrono::steady_clock::now() + service_.options.handshake_timeout;
  if (entrance_ == Entrance::kProxy) {
    const bool met = co_await MeetProxy(until);
    if (!met) co_return false;
  }
  std::string_view packet;
  const bool came = co_await stream_->ReceiveHandshake(packet, until);
  if (!came) co_return false;
  std::optional<Handshake> handshake = ParseHandshake(packet);
  if (!handshake) co_return stream_->End("broken handshake");
  TakeIdentity(std::move(*handshake));
  bool entered = false;
  if (const Refusal* refusal = FindRefusal()) {
    co_await Refuse(*refusal);
  } else {
    entered = co_await Enter();
  }
  co_return entered;
}

// Returns false at the end of a connection of the proxy itself, or without a valid header.
asio::awaitable<bool> Session::MeetProxy(std::chrono::steady_clock::time_point until) {
  ProxyHeader header;
  const bool came = co_await stream_->ReceiveProxyHeader(header, until);
  quiet_ = came && !header.client;
  certificate_name_ = std::move(header.certificate_name);
  co_return came && !quiet_;
}

void Session::TakeIdentity(Handshake sent) {
  tag_ = std::move(sent.tag);
  client_.SetWindow(sent.window);
  if (service_.options.user_from_certificate && certificate_name_) sent.user = *certificate_name_;
  identity_ = CleanIdentity(sent);
  FindRights();
}

void Session::FindRights() {
  tag_rights_ = service_.admission.tags.RightsOf(tag_);
  user_rights_ = service_.admission.users.RightsOf(certificate_name_.value_or(""));
}

// A name that is too long would be cut and could become that of another user.
bool Session::LacksCertificate() const {
  const bool needed = service_.options.user_from_certificate || !service_.options.admission.users.empty();
  if (!needed) return false;
  return !certificate_name_ || certificate_name_->empty() || certificate_name_->size() > kLongestUser ||
         !user_rights_.AdmitsAnything();
}

const Session::Refusal* Session::FindRefusal() const {
  static constexpr Refusal kAddress = {RefusalReason::kAddress, "address not allowed"};
  static constexpr Refusal kCertificate = {RefusalReason::kCertificate,
                                           "certificate missing or not accepted"};
  static constexpr Refusal kTag = {RefusalReason::kTag, "tag not accepted"};
  static constexpr Refusal kFull = {RefusalReason::kFull, "too many clients"};
  const asio::ip::address address = stream_->Peer().address();
  if (!service_.admission.allowed.Allows(address)) return &kAddress;
  if (LacksCertificate()) return &kCertificate;
  if (!tag_rights_.AdmitsAnything()) return &kTag;
  return admitted_ || service_.clients.HasPlaceFor(Plain(address)) ? nullptr : &kFull;
}

Right Session::RightAt(const std::string& name) const {
  return std::min(tag_rights_.At(name), user_rights_.At(name));
}

// A refused client sends its "X" first. If the connection were closed before, with unread bytes, it would be
// reset and the answer might be lost.
asio::awaitable<void> Session::Refuse(const Refusal& refusal) {
  answered_ = true;
  NoteRefusal(refusal);
  if (!tag_rights_.AdmitsAnything()) {
    const auto now = std::chrono::steady_clock::now();
    co_await stream_->Pause(now + service_.tag_guard.Delay(Plain(stream_->Peer().address()), now));
  }
  const std::string text = RefuseText(TVL_ERR_TCP_CONNECT, NameOf(refusal.reason));
  const bool sent = co_await client_.Reply(text);
  if (sent) co_await stream_->Drain(std::chrono::steady_clock::now() + service_.options.handshake_timeout);
}

void Session::NoteRefusal(const Refusal& refusal) {
  service_.status.NoteRefusal({std::chrono::system_clock::now(), Address(), Who(), refusal.reason});
  Report({.what = "refuse", .level = Level::kWarning, .code = TVL_ERR_TCP_CONNECT, .note = refusal.note});
}

void Session::Readmit() {
  if (!admitted_) return;
  FindRights();
  if (FindRefusal() == nullptr) return;
  client_.Finish();
  stream_->End("no longer admitted");
  stream_->Close();
}

asio::awaitable<bool> Session::Enter() {
  lobby_.Remove(*this);
  service_.clients.Add(Plain(stream_->Peer().address()));
  admitted_ = true;
  answered_ = true;
  const Stopwatch watch;
  const std::string address = DottedAddress(stream_->Peer().address());
  const LockQueue::Work enter = [this, &address] {
    instance_ =
        std::make_unique<Instance>(service_.config, identity_, address, service_.options.max_locks_per_client,
                                   Instance::LockGauges{record_->locks, service_.status.metrics.held_locks});
  };
  const LockQueue::Outcome outcome = co_await service_.locks.Run(LockQueue::Kind::kEnter, enter);
  if (outcome == LockQueue::Outcome::kLost) instance_->NoteLostStart();
  number_ = instance_->Number();
  ShowOnBoard();
  const Welcome welcome = {number_,
                           service_.config.zipOnTransfert,
                           service_.config.fileCompare,
                           service_.short_name,
                           service_.long_name,
                           client_.Window()};
  Event event = {.what = "enter", .duration = watch.Elapsed()};
  if (!instance_->IsPresent()) event.note = "no presence: the marker could not be created";
  Report(std::move(event));
  const std::string text = AcceptText(welcome);
  const bool sent = co_await client_.Reply(text);
  co_return sent;
}

void Session::ShowOnBoard() {
  record_->identity = {Address(),      identity_.computer,
                       identity_.user, identity_.client_class,
                       number_,        std::chrono::system_clock::now()};
  board_id_ = service_.status.clients.Add(record_);
  service_.status.metrics.enters.Add();
}

// Releases presence and locks. An unfinished put was dropped before.
asio::awaitable<void> Session::Leave() {
  if (std::exchange(admitted_, false)) service_.clients.Remove(Plain(stream_->Peer().address()));
  if (board_id_ != 0) service_.status.clients.Remove(board_id_);
  if (!instance_) co_return;
  const LockQueue::Work leave = [this] { instance_.reset(); };
  co_await service_.locks.Run(LockQueue::Kind::kLeave, leave);
}

asio::awaitable<void> Session::Exchange() {
  std::string command;
  bool go_on = true;
  while (go_on && !client_.IsFinishing()) {
    go_on = co_await client_.NextCommand(command);
    if (!go_on) co_return;
    between_ = false;
    go_on = co_await Dispatch(command);
    between_ = true;
  }
}

asio::awaitable<bool> Session::Dispatch(std::string_view command) {
  if (command.starts_with(protocol::kEnd)) co_return false;
  if (client_.IsLate(command)) {
    const bool sent = co_await client_.AnswerLate(command);
    co_return sent;
  }
  client_.BeginRequest();
  record_->requests.Add();
  for (const Command& known : kCommands) {
    if (!command.starts_with(known.letter)) continue;
    const bool go_on = co_await (this->*known.answer)(command);
    co_return go_on;
  }
  const bool sent = co_await client_.Reply(protocol::kUnknownCommand);
  co_return sent;
}

template <typename GetOrPut>
asio::awaitable<bool> Session::TransferFile(std::string_view command) {
  FileRequest asked(command);
  asked.forbidden = asked.clean && RightAt(*asked.clean) < GetOrPut::kNeededRight;
  GetOrPut exchange(service_, client_, *record_, std::move(asked));
  const bool go_on = co_await exchange.Run();
  Event event = exchange.ToEvent();
  ReportRequest(std::move(event));
  co_return go_on;
}

asio::awaitable<bool> Session::LockObject(std::string_view command) {
  const Stopwatch watch;
  const char letter = command.front();
  const std::string object(command.substr(1));
  std::string answer;
  const LockQueue::Work ask = [this, letter, &object, &answer] {
    answer = instance_->AnswerLock(letter, object);
  };
  const LockQueue::Outcome outcome = co_await service_.locks.Run(LockQueue::Kind::kAsk, ask);
  if (outcome == LockQueue::Outcome::kRefused) answer = Instance::kNoLock;
  if (outcome == LockQueue::Outcome::kLost) answer = instance_->AnswerLost(letter, answer);
  const bool is_lock = letter == protocol::kLock;
  Metrics& metrics = service_.status.metrics;
  (is_lock ? metrics.locks : metrics.unlocks)[answer.front() - '0'].Add();
  Event event = {.what = is_lock ? "lock" : "unlock",
                 .name = object,
                 .duration = watch.Elapsed(),
                 .note = "state=" + answer.substr(0, 1)};
  ReportRequest(std::move(event));
  const bool sent = co_await client_.Reply(answer);
  co_return sent;
}

std::string Session::Who() const {
  if (identity_.computer.empty()) return {};
  const std::string text = identity_.computer + "/" + identity_.user + "/" + identity_.client_class;
  return number_ == 0 ? text : text + "#" + std::to_string(number_);
}

std::string Session::Address() const {
  return stream_->Peer().address().to_string() + ":" + std::to_string(stream_->Peer().port());
}

void Session::Report(Event event) {
  event.client = Address();
  event.who = Who();
  if (event.name.size() > kLongestShownName) event.name.resize(kLongestShownName);
  if (const std::uint64_t left_out = std::exchange(lines_left_out_, 0)) event.left_out = left_out;
  service_.log.Write(std::move(event));
}

// A client that sends many requests quickly must not fill the disk with log lines.
void Session::ReportRequest(Event event) {
  if (!line_budget_.Take(std::chrono::steady_clock::now())) {
    ++lines_left_out_;
    service_.status.metrics.lines_left_out.Add();
    return;
  }
  event.request = record_->requests.Value();
  Report(std::move(event));
}

}  // namespace tvl::server
