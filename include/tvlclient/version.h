#ifndef TVLCLIENT_VERSION_H
#define TVLCLIENT_VERSION_H

#include <tvlclient/cstring.h>
#include <tvlclient/export.h>
#include <tvlclient/tvl.h>

// What version a program or a store has.
//
// A version is two decimal digits, 53 for 5.3; a build is six, YYMMDD; a total is version * 1000000 + build,
// so totals compare as numbers. The functions that read give numbers through tvl.h; those here give texts.
// Any thread.

// A build as day/month/year, "23/04/2011". With `build` 0 it is that of `total`, which is not looked at
// otherwise.
TVL_API CString TVLGetVersionDateFromTotal(int total, int build);

// The version of an executable as its resource says it, digits with points between; "Non definita" if it has
// none.
TVL_API CString TVLGetVersionStringFromWinExe(char* path);

// Version and build of an executable, "5.3 [11.04.23]"; "non definita" if it has none.
TVL_API CString TVLGetVersionStringFromTavolisWinExe(char* path);

// The version, "5.3", and the build, "11.04.23", of a total.
TVL_API CString GetTavolisVersionString(int total);
TVL_API CString GetTavolisBuildString(int total);

#endif
