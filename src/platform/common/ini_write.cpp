#include <cerrno>
#include <new>

#include "platform/common/ini_change.h"
#include "platform/common/ini_edit.h"
#include "platform/common/retry.h"
#include "platform/ini_file.h"
#include "platform/last_error.h"

namespace tvl {
namespace {

constexpr int kTurnSeconds = 10;

IniOutcome Write(const char* file, const IniChange& change) {
  if (!CanBeIniLine(change.key, change.value)) return {EINVAL, file};
  IniOutcome outcome = {};
  const int problem = Retry(
      kTurnSeconds, [](int result) { return result == EAGAIN; },
      [&] {
        outcome = TryWriteIni(file, change);
        return outcome.problem;
      });
  if (problem == EAGAIN) outcome.problem = EBUSY;
  return outcome;
}

}  // namespace
}  // namespace tvl

BOOL WritePrivateProfileStringA(const char* section, const char* key, const char* value,
                                const char* file) try {
  const tvl::LastError before = tvl::TakeLastError();
  const std::optional<std::string_view> text =
      value == nullptr ? std::nullopt : std::optional<std::string_view>(value);
  const tvl::IniOutcome outcome = tvl::Write(file, {section, key, text});
  if (outcome.problem == 0) {
    tvl::RestoreLastError(before);
    return 1;
  }
  tvl::NoteError(outcome.path.c_str(), outcome.problem);
  return 0;
} catch (const std::bad_alloc&) {
  tvl::NoteError(file, ENOMEM);
  return 0;
}
