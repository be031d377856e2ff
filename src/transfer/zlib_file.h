#ifndef TVL_TRANSFER_ZLIB_FILE_H
#define TVL_TRANSFER_ZLIB_FILE_H

#include "platform/target_file.h"
#include "transfer/core.h"

// Compresses a file into a plain zlib stream (RFC 1950) in memory and back. The message pump runs between
// pieces; its handlers must not touch the block.
class CZlib {
 public:
  virtual ~CZlib() = default;

  // Appends the compressed file to `destination`. Returns 1, or 0 if the file cannot be opened or read
  // completely, zlib cannot start or memory runs out.
  int CompressFile(const char* source, CCore& destination);

  // Decompresses `source` from its cursor into the file, which is created or truncated. Bytes after the end
  // of the stream are ignored. Returns 1, or 0 if the file cannot be created or written or is held, or if the
  // stream is damaged, incomplete or requires a dictionary; the file then keeps what was written.
  int DecompressFile(CCore& source, const char* destination);

  // Decompresses into a target that the caller has opened and will finish.
  int DecompressFile(CCore& source, tvl::TargetFile& target);
};

#endif
