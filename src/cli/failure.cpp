#include "cli/failure.h"

#include <cerrno>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include <tvlclient/errors.h>
#include <tvlclient/tvl.h>

#include "cli/text.h"

namespace tvl::cli {
namespace {

constexpr CodeMeaning kMeanings[] = {
    {TVL_OK, kDone, "done"},
    {TVL_ERR_NOT_SUPPORTED, kFailed, "this kind of connection does not offer it"},
    {TVL_ERR_NO_CONFIG, kUnreachable, "no configuration is loaded"},
    {TVL_ERR_ROOT_UNDEFINED, kUnreachable, "key DocumentRoot is missing or empty"},
    {TVL_ERR_ROOT_INVALID, kUnreachable, "the folder of key DocumentRoot cannot be used"},
    {TVL_ERR_TMP_UNDEFINED, kUnreachable, "key TmpDir is missing"},
    {TVL_ERR_TMP_INVALID, kUnreachable, "the folder of key TmpDir cannot be used"},
    {TVL_ERR_CONFIG_INVALID, kUnreachable, "the configuration cannot be used"},
    {TVL_ERR_NOT_CONNECTED, kFailed, "there is no connection"},
    {TVL_ERR_ALREADY_CONNECTED, kFailed, "there is a connection already"},
    {TVL_ERR_TCP_CONNECT, kUnreachable, "the server cannot be reached"},
    {TVL_ERR_TCP_SEND, kUnreachable, "sending to the server failed"},
    {TVL_ERR_TCP_RECEIVE, kUnreachable, "no usable reply came from the server"},
    {TVL_ERR_BAD_PATH, kFailed, "the path cannot be used"},
    {TVL_ERR_IN_CACHE, kFailed, "the server does not compare files"},
    {TVL_ERR_SERVER_FILE, kNotFound, "cannot be reached on the store"},
    {TVL_ERR_LOCAL_FILE, kFailed, "the local file cannot be reached"},
    {TVL_ERR_COPY, kFailed, "copying failed"},
    {TVL_ERR_DELETE_FILE, kFailed, "a file cannot be deleted"},
    {TVL_ERR_DELETE_DIR, kFailed, "a folder cannot be removed"},
    {TVL_ERR_CREATE_DIR, kFailed, "the folder cannot be made"},
    {TVL_ERR_ZIP, kFailed, "compressing failed"},
    {TVL_ERR_UNZIP, kFailed, "expanding failed"},
    {TVL_ERR_RS_OPEN, kFailed, "the table cannot be opened"},
    {TVL_ERR_RS_ALREADY_OPEN, kFailed, "the table is open already"},
    {TVL_ERR_RS_FORMAT, kFailed, "the record's format cannot be used"},
    {TVL_ERR_RS_READ, kFailed, "rows cannot be read"},
    {TVL_ERR_RS_WRITE, kFailed, "a row cannot be written"},
    {TVL_ERR_RS_DELETE, kFailed, "a row cannot be deleted"},
    {TVL_ERR_STOPPED, kInterrupted, "interrupted"},
    {TVL_ERR_STORE_EXISTS, kFailed, "a store exists there"},
    {TVL_ERR_STORE_IN_USE, kHeld, "clients are connected"},
};
constexpr CodeMeaning kUnknown = {-1, kFailed, "failed"};

// What servers say when they refuse. The empty reason is that of a server that does not say why, with the
// code that it then uses.
struct RefusalMeaning {
  std::string_view reason;
  int code;
  std::optional<ExitStatus> exit;  // none: that of the code
  const char* what;
};
constexpr RefusalMeaning kRefusals[] = {
    {"address", 0, kNotAllowed, "the server does not admit clients from this address"},
    {"tag", 0, kNotAllowed, "the server does not accept this client's tag"},
    {"certificate", 0, kNotAllowed, "the server does not accept this client's certificate"},
    {"full", 0, kUnreachable, "the server is full: it serves as many clients as it may"},
    {"right", 0, kNotAllowed, "this client has no right to it on the server"},
    {"", TVL_ERR_TCP_CONNECT, std::nullopt,
     "the server refuses this client, for its address or its tag, or because it is full"},
    {"", TVL_ERR_SERVER_FILE, std::nullopt,
     "the server refuses it: it does not exist, its name cannot be used, or this client has no right to it"},
};

constexpr unsigned int kPathRoom = 1024;

bool SaysMissing(int error) {
  return error == ENOENT || error == ENOTDIR;
}

}  // namespace

std::string Failure::Message() const {
  std::string message = what;
  if (code != 0) message += " (code " + std::to_string(code) + ")";
  if (error != 0) message += ": " + std::generic_category().message(error);
  if (!path.empty()) message += ": " + path;
  return message;
}

const CodeMeaning& MeaningOf(int code) {
  for (const CodeMeaning& row : kMeanings) {
    if (row.code == code) return row;
  }
  return kUnknown;
}

std::string LibraryText(int code) {
  return Utf8FromLatin1(TVLGetErrorString(code));
}

void ForgetFileErrors() {
  TVLLastFileError(nullptr, 0);
}

Failure LibraryFailure(int code) {
  const CodeMeaning& meaning = MeaningOf(code);
  char path[kPathRoom] = {};
  Failure failure = {meaning.exit, code, meaning.what, TVLLastFileError(path, sizeof path), {}};
  if (failure.error != 0) failure.path = Slashed(path);
  // A name that is there but closed to us is no name that isn't there.
  if (failure.exit == kNotFound && failure.error != 0 && !SaysMissing(failure.error)) failure.exit = kFailed;
  if (code == TVL_ERR_CREATE_DIR && SaysMissing(failure.error)) failure.exit = kNotFound;  // its parent
  return failure;
}

void ExplainRefusal(const char* reason, Failure& failure) {
  if (reason == nullptr) return;
  const std::string_view text = reason;
  for (const RefusalMeaning& row : kRefusals) {
    if (row.reason != text || (text.empty() && row.code != failure.code)) continue;
    failure.what = row.what;
    failure.exit = row.exit.value_or(failure.exit);
    return;
  }
  if (!text.empty()) failure.what += ", refused by the server: " + std::string(text);
}

Failure SystemFailure(const std::string& what, int error, const std::string& path) {
  return {SaysMissing(error) ? kNotFound : kFailed, 0, what, error, path};
}

void AddFailure(const Failure& failure, JsonObject& document) {
  document.Text("error", failure.what);
  if (failure.code != 0) document.Number("code", failure.code).Text("text", LibraryText(failure.code));
  if (failure.error != 0)
    document.Number("errno", failure.error).Text("reason", std::generic_category().message(failure.error));
  if (!failure.path.empty()) document.Text("path", failure.path);
}

Stop::Stop(std::string subject, Failure failure)
    : subject_(std::move(subject)), failure_(std::move(failure)) {}

Stop::Stop(const std::string& usage) : failure_{kUsage, 0, usage, 0, {}} {}

}  // namespace tvl::cli
