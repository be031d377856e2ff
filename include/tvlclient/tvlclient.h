#ifndef TVLCLIENT_TVLCLIENT_H
#define TVLCLIENT_TVLCLIENT_H

// The complete client library of the Tavolis File System.
//
// A program that needs one connection uses the free functions (functions.h):
//
//     char directory[260] = "work";
//     char config[] = "store.ini", client[] = "demo", name[] = "docs/a.doc";
//     if (int code = TVLConnect2Dir(directory, config, client)) return Complain(TVLFormatError(code));
//     int moved = 0;
//     TVLGetFile(name, nullptr, &moved);
//     TVLCloseConnection();
//
// A program that needs several connections, or listings, copies and tables, creates connection objects
// (smb_opr.h, tcp_opr.h), which have the operations of client_opr.h:
//
//     CTVLClientSmbOpr store;
//     if (store.Open(directory, config, client) == TVL_OK) {
//       char folder[] = "docs", pattern[] = "*.doc";
//       int count = 0;
//       CString names;
//       store.GetRemoteDirContent(folder, pattern, &count, names);
//     }

#include <tvlclient/client_config.h>
#include <tvlclient/client_opr.h>
#include <tvlclient/cstring.h>
#include <tvlclient/errors.h>
#include <tvlclient/functions.h>
#include <tvlclient/record.h>
#include <tvlclient/record_set.h>
#include <tvlclient/smb_opr.h>
#include <tvlclient/store.h>
#include <tvlclient/tcp_opr.h>
#include <tvlclient/version.h>

#endif
