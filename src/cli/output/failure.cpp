#include "cli/output/failure.h"

#include <cerrno>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include <tvlclient/errors.h>
#include <tvlclient/tvl.h>

#include "cli/output/text.h"

namespace tvl::cli {
namespace {

constexpr CodeMeaning kMeanings[] = {
    {TVL_OK, kDone, "done"},
    {TVL_ERR_NOT_SUPPORTED, kFailed, "not available on this kind of connection"},
    {TVL_ERR_NO_CONFIG, kUnreachable, "no configuration is loaded"},
    {TVL_ERR_ROOT_UNDEFINED, kUnreachable, "DocumentRoot is missing or empty"},
    {TVL_ERR_ROOT_INVALID, kUnreachable, "the folder of DocumentRoot cannot be used"},
    {TVL_ERR_TMP_UNDEFINED, kUnreachable, "TmpDir is missing"},
    {TVL_ERR_TMP_INVALID, kUnreachable, "the folder of TmpDir cannot be used"},
    {TVL_ERR_CONFIG_INVALID, kUnreachable, "the configuration cannot be used"},
    {TVL_ERR_NOT_CONNECTED, kFailed, "not connected"},
    {TVL_ERR_ALREADY_CONNECTED, kFailed, "already connected"},
    {TVL_ERR_TCP_CONNECT, kUnreachable, "the server cannot be reached"},
    {TVL_ERR_TCP_SEND, kUnreachable, "cannot send to the server"},
    {TVL_ERR_TCP_RECEIVE, kUnreachable, "the server sent no usable reply"},
    {TVL_ERR_BAD_PATH, kFailed, "the path cannot be used"},
    {TVL_ERR_IN_CACHE, kFailed, "the server cannot compare files"},
    {TVL_ERR_SERVER_FILE, kNotFound, "cannot be accessed in the store"},
    {TVL_ERR_LOCAL_FILE, kFailed, "the local file cannot be accessed"},
    {TVL_ERR_COPY, kFailed, "copying failed"},
    {TVL_ERR_DELETE_FILE, kFailed, "a file cannot be deleted"},
    {TVL_ERR_DELETE_DIR, kFailed, "a folder cannot be removed"},
    {TVL_ERR_CREATE_DIR, kFailed, "the folder cannot be created"},
    {TVL_ERR_ZIP, kFailed, "compression failed"},
    {TVL_ERR_UNZIP, kFailed, "decompression failed"},
    {TVL_ERR_RS_OPEN, kFailed, "the table cannot be opened"},
    {TVL_ERR_RS_ALREADY_OPEN, kFailed, "the table is already open"},
    {TVL_ERR_RS_FORMAT, kFailed, "the record layout is invalid"},
    {TVL_ERR_RS_READ, kFailed, "rows cannot be read"},
    {TVL_ERR_RS_WRITE, kFailed, "a row cannot be written"},
    {TVL_ERR_RS_DELETE, kFailed, "a row cannot be deleted"},
    {TVL_ERR_STOPPED, kInterrupted, "interrupted"},
    {TVL_ERR_STORE_EXISTS, kFailed, "a store exists there"},
    {TVL_ERR_STORE_IN_USE, kHeld, "clients are connected"},
};
constexpr CodeMeaning kUnknown = {-1, kFailed, "failed"};

// The reasons that a server sends when it refuses a client. A server that sends no reason has an empty one
// and is recognized by its code.
struct RefusalMeaning {
  std::string_view reason;
  int code;
  std::optional<ExitStatus> exit;  // if empty, the exit status of the code
  const char* what;
};
constexpr RefusalMeaning kRefusals[] = {
    {"address", 0, kNotAllowed, "the server does not admit clients from this address"},
    {"tag", 0, kNotAllowed, "the server does not accept this client's tag"},
    {"certificate", 0, kNotAllowed, "the server does not accept this client's certificate"},
    {"full", 0, kUnreachable, "the server is full: it has reached its limit of clients; try again later"},
    {"right", 0, kNotAllowed, "the server does not allow this client to do that"},
    {"", TVL_ERR_TCP_CONNECT, std::nullopt,
     "the server refused this client because of its address or tag, or because it is full"},
    {"", TVL_ERR_SERVER_FILE, std::nullopt,
     "refused by the server: it does not exist, its name is invalid, or this client lacks permission"},
};

constexpr unsigned int kPathSize = 1024;

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

void Failure::Describe(JsonObject& document) const {
  const std::string reason = error == 0 ? "" : ": " + std::generic_category().message(error);
  document.Number("exit", static_cast<int>(exit)).Number("code", code).Text("message", what + reason);
  document.Number("errno", error).Text("path", path);
  if (!hint.empty()) document.Text("hint", hint);
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

bool HadFileErrors() {
  return TVLLastFileError(nullptr, 0) != 0;
}

Failure LibraryFailure(int code) {
  const CodeMeaning& meaning = MeaningOf(code);
  char path[kPathSize] = {};
  Failure failure = {meaning.exit, code, meaning.what, TVLLastFileError(path, sizeof path), {}};
  if (failure.error != 0) failure.path = Slashed(path);
  // A name that exists but is not accessible is a failure, not a missing name.
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

Stop::Stop(std::string subject, Failure failure)
    : subject_(std::move(subject)), failure_(std::move(failure)) {}

Stop::Stop(const std::string& usage, const std::string& hint) : failure_{kUsage, 0, usage, 0, {}, hint} {}

}  // namespace tvl::cli
