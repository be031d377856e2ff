#ifndef TVL_TRANSFER_ZLIB_FILE_H
#define TVL_TRANSFER_ZLIB_FILE_H

#include "transfer/core.h"

// Packs a file into one zlib stream (RFC 1950) in memory and back. The stream stands alone: no head or
// trailer of our own. The message pump runs between pieces; its handlers must leave the block alone.
class CZlib {
 public:
  virtual ~CZlib() = default;

  // Appends the packed file to `destination`. 1; 0 if the file can't be opened, zlib can't start or memory is
  // out. Where reading fails the stream ends as at the end of the file; `cutShort` tells, if it is not null.
  int CompressFile(const char* source, CCore& destination, bool* cutShort = nullptr);

  // Unpacks what `source` holds from its cursor on into the file, which is made or emptied; bytes behind the
  // stream's end are ignored. 1; 0 if the file can't be made, held by somebody, or not be written, or the
  // stream is broken, cut or wants a dictionary: what was written stays.
  int DecompressFile(CCore& source, const char* destination);
};

#endif
