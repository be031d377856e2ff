#ifndef TVLCLIENT_EXPORT_H
#define TVLCLIENT_EXPORT_H

// TVL_API marks what the shared library exports; all else in it is hidden. TVL_HIDDEN takes a member of an
// exported class out again.
#define TVL_API __attribute__((visibility("default")))
#define TVL_HIDDEN __attribute__((visibility("hidden")))

#endif
