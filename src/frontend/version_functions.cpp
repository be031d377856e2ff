#include <cstdlib>
#include <new>
#include <string>

#include <tvlclient/version.h>

#include "base/numbers.h"
#include "transfer/version.h"

namespace {

using tvl::Version;

constexpr int kTotalUnit = 1000000;  // a total is version times this, plus the build

void Store(int value, int* output) {
  if (output != nullptr) *output = value;
}

// Shared by both readers. The outputs are 0 unless `read` finds a version.
template <typename Read>
int StoreVersion(Read read, const char* path, int* version, int* build, int* total) try {
  for (int* output : {version, build, total}) Store(0, output);
  Version result = {};
  if (!read(path, result)) return 0;
  Store(result.version, version);
  Store(result.build, build);
  Store(VersionTotal(result.version, result.build), total);
  return 1;
} catch (const std::bad_alloc&) {
  return 0;
}

int Year(int build) {
  return (build / 10000) % 100;
}
int Month(int build) {
  return (build / 100) % 100;
}
int Day(int build) {
  return build % 100;
}

}  // namespace

int TVLGetVersionFromTavolisWinExe(char* path, int* version, int* build, int* total) {
  return StoreVersion(tvl::ReadExecutableVersion, path, version, build, total);
}

int TVLGetVersionFromFile(char* path, int* version, int* build, int* total) {
  return StoreVersion(tvl::ReadFileVersion, path, version, build, total);
}

CString TVLGetVersionDateFromTotal(int total, int build) {
  if (build == 0) build = total % kTotalUnit;
  CString text;
  text.Format("%02d/%02d/%d", Day(build), Month(build), 2000 + Year(build));
  return text;
}

CString TVLGetVersionStringFromWinExe(char* path) try {
  std::string text;
  return tvl::ReadExecutableVersionText(path, text) ? text.c_str() : "Non definita";
} catch (const std::bad_alloc&) {
  return "Non definita";
}

CString TVLGetVersionStringFromTavolisWinExe(char* path) {
  int version = 0;
  int build = 0;
  if (TVLGetVersionFromTavolisWinExe(path, &version, &build, nullptr) == 0) return "non definita";
  CString text;
  text.Format("%d.%d [%02d.%02d.%02d]", version / 10, version % 10, Year(build), Month(build), Day(build));
  return text;
}

CString GetTavolisVersionString(int total) {
  const int version = total / kTotalUnit;
  CString text;
  text.Format("%d.%d", version / 10, version % 10);
  return text;
}

CString GetTavolisBuildString(int total) {
  const int build = total % kTotalUnit;
  CString text;
  text.Format("%02d.%02d.%02d", Year(build), Month(build), Day(build));
  return text;
}
