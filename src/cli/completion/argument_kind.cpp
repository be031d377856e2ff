#include "cli/completion/argument_kind.h"

namespace tvl::cli {
namespace {

struct Row {
  std::string_view command;  // empty: any
  std::string_view type;
  ArgumentKind kind;
};

// The first row that matches counts.
constexpr Row kRows[] = {
    {"get", "DIR", ArgumentKind::kWorkFolder},
    {"put", "NAME", ArgumentKind::kWorkFile},
    {"put", "DIR", ArgumentKind::kStoreFolder},
    {"ls", "DIR", ArgumentKind::kStoreFolder},
    {"sync push", "DIR", ArgumentKind::kStoreFolder},
    {"mkdir", "NAME", ArgumentKind::kStoreFolder},
    {"lock", "NAME", ArgumentKind::kLock},
    {"unlock", "NAME", ArgumentKind::kLock},
    {"locks", "PATTERN", ArgumentKind::kLock},
    {"env get", "NAME", ArgumentKind::kValue},
    {"env set", "NAME", ArgumentKind::kValue},
    {"env unset", "NAME", ArgumentKind::kValue},
    {"complete-script", "SHELL", ArgumentKind::kShell},
    {"doctor", "NAME", ArgumentKind::kOther},
    {"", "NAME", ArgumentKind::kStoreFile},
    {"", "REMOTE", ArgumentKind::kStoreFolder},
    {"", "LOCAL", ArgumentKind::kWorkFolder},
    {"", "TABLE", ArgumentKind::kTable},
    {"", "CLASS", ArgumentKind::kClass},
    {"", "CCCC", ArgumentKind::kClass},
    {"", "KINDS", ArgumentKind::kKindOfFile},
    {"", "CMD", ArgumentKind::kProgram},
    {"", "FILE", ArgumentKind::kLocalFile},
    {"", "DIR", ArgumentKind::kLocalFolder},
};

}  // namespace

ArgumentKind KindOfArgument(std::string_view command, std::string_view type) {
  for (const Row& row : kRows) {
    if (row.type == type && (row.command.empty() || row.command == command)) return row.kind;
  }
  return ArgumentKind::kOther;
}

}  // namespace tvl::cli
