#ifndef TVLCLIENT_FUNCTIONS_H
#define TVLCLIENT_FUNCTIONS_H

#include <tvlclient/cstring.h>
#include <tvlclient/tvl.h>

// Returns "%s [errore #%d]" with the text of `code` and the code. Any thread.
TVL_API CString TVLFormatError(int code);

#endif
