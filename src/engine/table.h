#ifndef TVL_ENGINE_TABLE_H
#define TVL_ENGINE_TABLE_H

#include <memory>
#include <string>

#include "engine/key.h"
#include "engine/layout.h"
#include "engine/patience.h"

namespace tvl::engine {

// What a read looks for, relative to its key.
enum class ReadMode { kEqual, kGreater, kGreaterOrEqual, kLess, kLessOrEqual };

// The interface to the storage of a table, used by the exported functions. A table is used by one thread at a
// time.
//
// Functions that return false have called NoteError with the reason. Keys have the lengths of the layout. A
// call waits for other processes as long as `patience` lasts.
class Table {
 public:
  Table() = default;
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;
  virtual ~Table() = default;

  [[nodiscard]] virtual const Layout& Lengths() const = 0;

  // On success stores key and bytes of the record found in `key` and `record`, and its other key in `other`
  // unless that is null.
  [[nodiscard]] virtual bool Read(int keyNumber, ReadMode mode, Key& key, Key* other, void* record,
                                  Patience& patience) = 0;

  // If `key2` is blank, a replaced record keeps its key 2.
  [[nodiscard]] virtual bool Write(const Key& key1, const Key& key2, const void* record,
                                   Patience& patience) = 0;

  // Null matches any key; if both are null, nothing is deleted. Returns true only if a record was deleted.
  [[nodiscard]] virtual bool Delete(const Key* key1, const Key* key2, Patience& patience) = 0;

  [[nodiscard]] virtual bool Begin(bool for_writing, Patience& patience) = 0;

  // Ends the transaction of Begin. Returns false if its changes are lost.
  [[nodiscard]] virtual bool End() = 0;
};

}  // namespace tvl::engine

#endif
