#ifndef TVL_TRANSFER_ZLIB_FILE_H
#define TVL_TRANSFER_ZLIB_FILE_H

#include "platform/target_file.h"
#include "transfer/core.h"

// Packs a file into one zlib stream (RFC 1950) in memory and back. The stream stands alone: no head or
// trailer of our own. The message pump runs between pieces; its handlers must leave the block alone.
class CZlib {
 public:
  virtual ~CZlib() = default;

  // Appends the packed file to `destination`. Returns 1, or 0 if the file cannot be opened or read to its
  // end, zlib cannot start or memory runs out.
  int CompressFile(const char* source, CCore& destination);

  // Unpacks `source` from its cursor on into the file, which is created or emptied; bytes after the stream's
  // end are ignored. Returns 1, or 0 if the file cannot be created, is held or cannot be written, or the
  // stream is broken, cut or requires a dictionary: the file stays as far as it was written.
  int DecompressFile(CCore& source, const char* destination);

  // The same into a target that the caller has opened and finishes.
  int DecompressFile(CCore& source, tvl::TargetFile& target);
};

#endif
