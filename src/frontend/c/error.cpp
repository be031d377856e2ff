#include "frontend/c/error.h"

#include <cstdio>
#include <string_view>

#include "base/fixed_text.h"
#include "frontend/c/paths.h"
#include "frontend/c/structs.h"

namespace {

struct CodeText {
  int code;
  const char* text;
};

constexpr CodeText kTexts[] = {
    {TVL_OK, "no error"},
    {TVL_ERR_NOT_SUPPORTED, "not available on this kind of connection"},
    {TVL_ERR_NO_CONFIG, "no configuration is loaded"},
    {TVL_ERR_ROOT_UNDEFINED, "the configuration cannot be read, or has no DocumentRoot"},
    {TVL_ERR_ROOT_INVALID, "the folder of DocumentRoot cannot be used"},
    {TVL_ERR_TMP_UNDEFINED, "TmpDir is missing in the configuration"},
    {TVL_ERR_TMP_INVALID, "the folder of TmpDir cannot be used"},
    {TVL_ERR_CONFIG_INVALID, "the configuration cannot be used"},
    {TVL_ERR_NOT_CONNECTED, "not connected"},
    {TVL_ERR_ALREADY_CONNECTED, "already connected"},
    {TVL_ERR_TCP_CONNECT, "the server cannot be reached, or refused this client"},
    {TVL_ERR_TCP_SEND, "cannot send to the server"},
    {TVL_ERR_TCP_RECEIVE, "the server sent no usable reply"},
    {TVL_ERR_BAD_PATH, "the path cannot be used"},
    {TVL_ERR_IN_CACHE, "the server cannot compare files"},
    {TVL_ERR_SERVER_FILE, "cannot be accessed in the store"},
    {TVL_ERR_LOCAL_FILE, "the local file cannot be accessed"},
    {TVL_ERR_COPY, "copying failed"},
    {TVL_ERR_DELETE_FILE, "a file cannot be deleted or replaced"},
    {TVL_ERR_DELETE_DIR, "a folder cannot be removed"},
    {TVL_ERR_CREATE_DIR, "the folder cannot be created"},
    {TVL_ERR_ZIP, "compression failed"},
    {TVL_ERR_UNZIP, "decompression failed"},
    {TVL_ERR_RS_OPEN, "the table is not open"},
    {TVL_ERR_RS_ALREADY_OPEN, "the table is already open"},
    {TVL_ERR_RS_FORMAT, "the schema is invalid, or the value does not fit its field"},
    {TVL_ERR_RS_READ, "the table is damaged, so rows cannot be read"},
    {TVL_ERR_RS_WRITE, "a row cannot be written"},
    {TVL_ERR_RS_DELETE, "a row cannot be deleted, or does not exist"},
    {TVL_ERR_STOPPED, "stopped"},
    {TVL_ERR_STORE_EXISTS, "a store exists there"},
    {TVL_ERR_STORE_IN_USE, "clients are connected to the store"},
    {TVL_ERR_ARGUMENT, "an argument is null, too long or out of range"},
    {TVL_ERR_BUSY, "the handle is in use by a callback or by unfinished work"},
    {TVL_ERR_MEMORY, "memory ran out"},
    {TVL_ERR_LOCKED, "another instance has the lock"},
    {TVL_ERR_NO_PRESENCE,
     "the connection has no presence in the store, so other clients would ignore its lock"},
};

struct RefusalText {
  std::string_view reason;  // as the server sends it
  const char* text;
};

constexpr RefusalText kRefusals[] = {
    {"address", "the server does not admit clients from this address"},
    {"tag", "the server does not accept this client's tag"},
    {"certificate", "the server does not accept this client's certificate"},
    {"full", "the server is full"},
    {"right", "the server does not allow this client to do that"},
    {"", "refused by the server"},
};

// Copies the meaning of a failure and the system's reason.
template <std::size_t N>
void Describe(const tvl::c::Failure& failure, char (&text)[N]) {
  const char* what = failure.what != nullptr ? failure.what : tvlc_error_text(failure.code);
  if (failure.reason.code == 0) {
    tvl::CopyCut(text, what);
  } else {
    std::snprintf(text, N, "%s: %s", what, tvl::SystemErrorText(failure.reason.code));
  }
}

}  // namespace

const char* tvlc_error_text(int code) {
  for (const CodeText& row : kTexts) {
    if (row.code == code) return row.text;
  }
  return "unknown error";
}

int tvl::c::Report(const Failure& failure, tvlc_error* error) {
  if (!HasSize(error)) return failure.code;
  tvlc_error report = {};
  report.code = failure.code;
  report.system_error = failure.reason.code;
  CopyCut(report.path, Slashed(failure.reason.path));
  Describe(failure, report.text);
  CopyStruct(report, error);
  return failure.code;
}

const char* tvl::c::MeaningOfRefusal(const char* reason) {
  if (reason == nullptr) return nullptr;
  for (const RefusalText& row : kRefusals) {
    if (row.reason == reason) return row.text;
  }
  return "refused by the server";
}
