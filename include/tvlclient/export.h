#ifndef TVLCLIENT_EXPORT_H
#define TVLCLIENT_EXPORT_H

// TVL_API marks what the shared library exports; everything else is hidden. TVL_HIDDEN hides a member of an
// exported class.
#ifdef _WIN32
#define TVL_API
#define TVL_HIDDEN
#else
#define TVL_API __attribute__((visibility("default")))
#define TVL_HIDDEN __attribute__((visibility("hidden")))
#endif

#endif
