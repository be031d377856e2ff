#ifndef TVLCLIENT_VERSION_H
#define TVLCLIENT_VERSION_H

#include <tvlclient/cstring.h>
#include <tvlclient/export.h>
#include <tvlclient/tvl.h>

// Versions of programs and stores.
//
// A version has two decimal digits, 53 for 5.3; a build has six, YYMMDD; a total is version * 1000000 +
// build, so totals can be compared as numbers. The functions of tvl.h read versions as numbers; those of this
// header return texts. Any thread.

// Returns a build as day/month/year, "23/04/2011". With `build` 0, uses the build of `total`; otherwise
// `total` is ignored.
TVL_API CString TVLGetVersionDateFromTotal(int total, int build);

// Returns the version in the resource of an executable, numbers separated by points; "Non definita" if it has
// none.
TVL_API CString TVLGetVersionStringFromWinExe(char* path);

// Returns version and build of an executable, "5.3 [11.04.23]"; "non definita" if it has none.
TVL_API CString TVLGetVersionStringFromTavolisWinExe(char* path);

// Return the version, "5.3", and the build, "11.04.23", of a total.
TVL_API CString GetTavolisVersionString(int total);
TVL_API CString GetTavolisBuildString(int total);

#endif
