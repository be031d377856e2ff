#ifndef TVL_DIRECTORY_LEFT_OUT_H
#define TVL_DIRECTORY_LEFT_OUT_H

#include <string>

#include <tvlclient/smb_opr.h>

#include "platform/search.h"

namespace tvl {

// A name that a plan omitted.
struct LeftOut {
  std::string folder;
  std::string name;
  TVL_LEFT_OUT reason;
  bool in_target;
};

[[nodiscard]] constexpr TVL_LEFT_OUT LeftOutReason(Unreachable unreachable) {
  switch (unreachable) {
    case Unreachable::kBackslash:
      return TVL_LEFT_OUT_BACKSLASH;
    case Unreachable::kLeadsBack:
      return TVL_LEFT_OUT_LEADS_BACK;
    case Unreachable::kNo:
      break;
  }
  return TVL_LEFT_OUT_NOT;
}

}  // namespace tvl

#endif
