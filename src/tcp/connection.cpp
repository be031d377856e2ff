#include <algorithm>
#include <cstdio>
#include <new>
#include <string>

#include "base/fixed_text.h"
#include "base/path_helpers.h"
#include "base/text.h"
#include "platform/files.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "tcp/state.h"
#include "tcp/window.h"
#include "transfer/compare.h"
#include "transfer/sha1.h"

namespace {

constexpr DWORD kNameSize = 256;
constexpr std::size_t kIdentitySize = 1100;  // any host name that can be looked up is shorter

// A name that one of the platform's functions returns, or "Unknown".
class Name {
 public:
  explicit Name(BOOL (*ask)(char* buffer, DWORD* size)) {
    DWORD size = kNameSize;
    if (ask(text_, &size) == 0) tvl::CopyCut(text_, "Unknown");
  }

  [[nodiscard]] char* Text() { return text_; }

 private:
  char text_[kNameSize] = {};
};

void SignServer(const char* host, unsigned int port, char* signature) {
  char number[16];
  std::snprintf(number, sizeof number, "-%u", port);
  tvl::FixedText<kIdentitySize> identity;
  identity.Append("TCP-").Append(host).Append(number);
  Sha1OfString(identity.Text(), signature);
}

}  // namespace

void CTVLClientTcpOpr::State::NoteRefusal(std::string_view text) {
  refused = true;
  refusal[text.copy(refusal, sizeof refusal - 1)] = 0;
  tvl::TakeLastError();
}

void CTVLClientTcpOpr::State::NoteVersion(std::string_view field) {
  using tvl::protocol::kServerName;
  std::string_view text;
  if (field.starts_with(kServerName) && field.substr(kServerName.size()).starts_with('/'))
    text = field.substr(kServerName.size() + 1);
  version[text.copy(version, sizeof version - 1)] = 0;
}

CTVLClientTcpOpr::CTVLClientTcpOpr() : state(new State(opened)) {}

CTVLClientTcpOpr::~CTVLClientTcpOpr() {
  CTVLClientTcpOpr::Close();
  delete state;
}

int CTVLClientTcpOpr::Open(char* directory, char* /*configFile*/, char* host, unsigned int port,
                           char* className, char* clientTag) {
  CTVLClientTcpOpr::Close();  // of a former opening
  state->held.clear();
  instanceId = 0;
  zipOnTransfert = 0;
  shortName[0] = 0;
  longName[0] = 0;
  fileCmp = kCompareHash;
  const unsigned int window = std::min<unsigned int>(tvl::transfer_window, tvl::kMostWindow);
  int code = Connect(host, port, className, clientTag, window);
  if (window > 0 && WasRefusedUnexplained(code)) code = Connect(host, port, className, clientTag, 0);
  if (code != TVL_OK) return code;
  opened = 1;
  TakeSettings();
  SettleWorkingDirectory(directory);
  SignServer(host, port, serverId);
  return TVL_OK;
}

// A new connection to the server, on which it has accepted this client; or the code of its refusal.
int CTVLClientTcpOpr::Connect(const char* host, unsigned int port, const char* className,
                              const char* clientTag, unsigned int window) {
  state->refused = false;
  state->NoteVersion("");
  if (state->socket.ConnectHost(host, port) == 0) return TVL_ERR_TCP_CONNECT;
  state->process = GetCurrentProcessId();
  state->window = window;
  return Handshake(className, clientTag, window);
}

// True if a server may have refused a handshake because it does not know the announcement in it: it has ended
// the connection, or refused the client without a reason.
bool CTVLClientTcpOpr::WasRefusedUnexplained(int code) const {
  if (code == TVL_OK) return false;
  if (state->refused) return state->refusal[0] == 0;
  return code != TVL_ERR_TCP_CONNECT && state->socket.lastError != WSAETIMEDOUT;
}

// Returns 0 if the server accepts this client; then the fields of the reply contain its settings.
int CTVLClientTcpOpr::Handshake(const char* className, const char* clientTag, unsigned int window) {
  Name computer(GetComputerNameA);
  Name account(GetUserNameA);
  tvl::ToLower(computer.Text());
  const std::string announcement = tvl::WindowText(window);
  const char* const texts[] = {className, computer.Text(), account.Text(), clientTag, announcement.c_str()};
  if (state->pack.SendHandshake({texts, window > 0 ? 5U : 4U}) == 0) return TVL_ERR_TCP_SEND;
  if (state->pack.PackReceive() == 0) return TVL_ERR_TCP_RECEIVE;
  state->pack.Unpack2Toks(tvl::protocol::kFieldSeparator);
  state->NoteVersion(state->pack.StringTok(0, ""));
  const int refusal = state->pack.NumericTok(1, TVL_ERR_NOT_SUPPORTED);
  if (refusal != TVL_OK) {
    state->NoteRefusal(state->pack.StringTok(2, ""));
    ServerTerminate();
  }
  return refusal;
}

void CTVLClientTcpOpr::TakeSettings() {
  const tvl::Packets& reply = state->pack;
  instanceId = reply.NumericTok(2, 0);
  zipOnTransfert = reply.NumericTok(3, 0);
  fileCmp = reply.NumericTok(4, 0);
  tvl::CopyCut(shortName, reply.StringTok(5, ""));
  tvl::CopyCut(longName, reply.StringTok(6, ""));
  state->window = std::min(state->window, tvl::ParseWindow(reply.StringTok(7, "")));
}

// Leaves the working directory empty if it cannot be determined. Then every transfer fails with
// TVL_ERR_LOCAL_FILE, because names appended to an empty text would start at the root of the file system.
void CTVLClientTcpOpr::SettleWorkingDirectory(const char* directory) try {
  const unsigned int length = GetFullPathNameA(directory, sizeof workingDirectory, workingDirectory, nullptr);
  if (length == 0 || length >= sizeof workingDirectory) return;
  CreateDirectoryA(workingDirectory, nullptr);
  if (AddTrailingBackslash(workingDirectory) == 0) workingDirectory[0] = 0;
} catch (const std::bad_alloc&) {
  workingDirectory[0] = 0;
}

void CTVLClientTcpOpr::ServerTerminate() {
  state->pack.Add2Pack(1, "%c", tvl::protocol::kEnd);
  state->pack.PackSend();
  opened = 0;
}

int CTVLClientTcpOpr::Close() {
  if (opened == 0) return TVL_ERR_NOT_CONNECTED;
  if (IsLive()) ServerTerminate();
  opened = 0;
  return TVL_OK;
}

bool CTVLClientTcpOpr::IsLive() const {
  return opened != 0 && state->IsOwnProcess();
}

const char* CTVLClientTcpOpr::Refusal() const {
  return state->refused ? state->refusal : nullptr;
}

int CTVLClientTcpOpr::Descriptor() const {
  return IsLive() ? static_cast<int>(state->socket.Handle()) : -1;
}

const char* CTVLClientTcpOpr::ServerVersion() const {
  return state->version;
}

int CTVLClientTcpOpr::Ping() {
  if (!IsLive()) return TVL_ERR_NOT_CONNECTED;
  state->pack.Add2Pack(1, "%c", tvl::protocol::kPing);
  if (state->pack.PackSend() == 0) return TVL_ERR_TCP_SEND;
  if (state->pack.PackReceive() == 0) return TVL_ERR_TCP_RECEIVE;
  const std::string_view answer(state->pack.Payload(), state->pack.PayloadLength());
  return answer == tvl::protocol::kUnknownCommand ? TVL_OK : TVL_ERR_TCP_RECEIVE;
}
