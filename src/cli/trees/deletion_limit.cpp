#include "cli/trees/deletion_limit.h"

#include <charconv>
#include <string_view>
#include <system_error>

#include "cli/output/failure.h"

namespace tvl::cli {

DeletionLimit ParseDeletionLimit(const std::string& text) {
  const bool percent = text.ends_with('%');
  const std::string_view digits = std::string_view(text).substr(0, text.size() - (percent ? 1 : 0));
  DeletionLimit limit = {0, percent};
  const auto [end, problem] = std::from_chars(digits.data(), digits.data() + digits.size(), limit.number);
  const bool whole = problem == std::errc() && end == digits.data() + digits.size();
  if (!whole || (percent && limit.number > 100))
    throw Stop("--max-delete takes a number, or 0% to 100% of the names on the target, not '" + text + "'");
  return limit;
}

}  // namespace tvl::cli
