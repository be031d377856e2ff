#ifndef TVL_STORE_CHECK_FINDING_H
#define TVL_STORE_CHECK_FINDING_H

#include <string>

#include <tvlclient/store.h>

namespace tvl {

// What a check found, and what to do about it, in one sentence that begins with a verb.
struct Finding {
  TVL_VERDICT verdict = TVL_VERDICT_OK;
  std::string detail;
  std::string remedy;
};

inline Finding Good(const std::string& detail) {
  return {TVL_VERDICT_OK, detail, {}};
}
inline Finding Warn(const std::string& detail, const std::string& remedy) {
  return {TVL_VERDICT_WARNING, detail, remedy};
}
inline Finding Bad(const std::string& detail, const std::string& remedy) {
  return {TVL_VERDICT_BAD, detail, remedy};
}

// The system's text for the last failed call.
[[nodiscard]] std::string Reason();

}  // namespace tvl

#endif
