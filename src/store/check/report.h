#ifndef TVL_STORE_CHECK_REPORT_H
#define TVL_STORE_CHECK_REPORT_H

#include <tvlclient/store.h>

#include "store/check/finding.h"

namespace tvl {

// Hands the findings of a run to the application.
class FindingReport {
 public:
  FindingReport(TVLFindingCallback callback, void* user_data) : callback_(callback), user_data_(user_data) {}

  // `needed`: presence and locks cannot be trusted if the verdict is bad.
  void Add(const char* check, bool needed, const Finding& finding) const {
    const TVLFinding row = {check, needed ? 1 : 0, finding.verdict, finding.detail.c_str(),
                            finding.remedy.c_str()};
    callback_(&row, user_data_);
  }

 private:
  TVLFindingCallback callback_;
  void* user_data_;
};

}  // namespace tvl

#endif
