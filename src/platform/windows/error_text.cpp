#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include "platform/last_error.h"

namespace {

// The C library has no texts for these.
constexpr struct {
  int code;
  const char* text;
} kTexts[] = {
    {ECANCELED, "Operation canceled"},       {ELOOP, "Too many levels of symbolic links"},
    {ECONNRESET, "Connection reset"},        {ECONNREFUSED, "Connection refused"},
    {ETIMEDOUT, "Connection timed out"},     {EHOSTUNREACH, "No route to host"},
    {ENETUNREACH, "Network is unreachable"}, {ENOBUFS, "No buffer space available"},
    {ENOTCONN, "Network connection lost"},
};

}  // namespace

const char* tvl::SystemErrorText(int code) {
  const auto* row = std::ranges::find(kTexts, code, [](const auto& each) { return each.code; });
  if (row != std::end(kTexts)) return row->text;
  return code > 0 && code < _sys_nerr ? _sys_errlist[code] : "unknown error";
}
