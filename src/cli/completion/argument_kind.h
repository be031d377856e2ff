#ifndef TVL_CLI_COMPLETION_ARGUMENT_KIND_H
#define TVL_CLI_COMPLETION_ARGUMENT_KIND_H

#include <string_view>

namespace tvl::cli {

// What an argument or the value of an option names, so what can complete it.
enum class ArgumentKind {
  kOther,  // nothing is known about it
  kLocalFile,
  kLocalFolder,
  kWorkFile,    // a local file, relative to the working directory
  kWorkFolder,  // a local folder, relative to the working directory
  kProgram,
  kKindOfFile,
  kShell,
  kStoreFile,
  kStoreFolder,
  kTable,
  kLock,
  kClass,
  kValue
};

// Returns whether only the store knows what can complete the argument.
[[nodiscard]] constexpr bool IsInStore(ArgumentKind kind) {
  return kind >= ArgumentKind::kStoreFile;
}

// `command` is the full name of a command, such as "env get"; `type` is the name of the argument in its help.
[[nodiscard]] ArgumentKind KindOfArgument(std::string_view command, std::string_view type);

}  // namespace tvl::cli

#endif
