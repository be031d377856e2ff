#ifndef TVL_ENGINE_TABLE_H
#define TVL_ENGINE_TABLE_H

#include <memory>
#include <string>

#include "engine/key.h"
#include "engine/layout.h"
#include "engine/patience.h"

namespace tvl::engine {

// What a read looks for, relative to the key given.
enum class ReadMode { kEqual, kGreater, kGreaterOrEqual, kLess, kLessOrEqual };

// A table in some storage, on which the exported functions work. One thread at a time uses it.
//
// A false result leaves its reason with NoteError. Keys come completed to the lengths of the layout. A call
// waits for other processes as long as `patience` lasts.
class Table {
 public:
  Table() = default;
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;
  virtual ~Table() = default;

  [[nodiscard]] virtual const Layout& Lengths() const = 0;

  // On success `key` becomes that of the record found and `record` its bytes.
  [[nodiscard]] virtual bool Read(int keyNumber, ReadMode mode, Key& key, void* record,
                                  Patience& patience) = 0;

  // A blank `key2` leaves that of a record replaced as it is.
  [[nodiscard]] virtual bool Write(const Key& key1, const Key& key2, const void* record,
                                   Patience& patience) = 0;

  // Null stands for any key; with both null nothing is deleted. True only if a record was.
  [[nodiscard]] virtual bool Delete(const Key* key1, const Key* key2, Patience& patience) = 0;

  [[nodiscard]] virtual bool Begin(bool forWriting, Patience& patience) = 0;

  // Ends what Begin began. False if what was written since then is lost.
  [[nodiscard]] virtual bool End() = 0;
};

}  // namespace tvl::engine

#endif
