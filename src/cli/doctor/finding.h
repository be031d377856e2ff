#ifndef TVL_CLI_DOCTOR_FINDING_H
#define TVL_CLI_DOCTOR_FINDING_H

#include <string>

namespace tvl::cli {

enum class Verdict { kOk, kWarning, kBad };

// What a check found, and what to do about it.
struct Finding {
  Verdict verdict = Verdict::kOk;
  std::string detail;
  std::string remedy;
};

inline Finding Good(const std::string& detail) {
  return {Verdict::kOk, detail, {}};
}
inline Finding Warn(const std::string& detail, const std::string& remedy) {
  return {Verdict::kWarning, detail, remedy};
}
inline Finding Bad(const std::string& detail, const std::string& remedy = {}) {
  return {Verdict::kBad, detail, remedy};
}

// The system's text for the last failed call.
[[nodiscard]] std::string Reason();

}  // namespace tvl::cli

#endif
