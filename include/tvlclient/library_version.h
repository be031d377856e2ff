#ifndef TVLCLIENT_LIBRARY_VERSION_H
#define TVLCLIENT_LIBRARY_VERSION_H

// The version of these headers, for conditional compilation. A program can compare it with the version of the
// library that it runs with (TVLLibraryVersion). The build reads the three numbers from here.

#define TVLCLIENT_VERSION_MAJOR 1
#define TVLCLIENT_VERSION_MINOR 1
#define TVLCLIENT_VERSION_PATCH 0

// One number to compare: 10203 is version 1.2.3.
#define TVLCLIENT_VERSION \
  (TVLCLIENT_VERSION_MAJOR * 10000 + TVLCLIENT_VERSION_MINOR * 100 + TVLCLIENT_VERSION_PATCH)

#endif
