#ifndef TVL_CLI_TABLE_H
#define TVL_CLI_TABLE_H

#include <functional>
#include <string>
#include <vector>

#include <tvlclient/record.h>
#include <tvlclient/record_set.h>

#include "cli/store.h"

namespace tvl::cli {

// The fields of a schema, by name and in order. Throws Stop for a schema that can't be read.
class Schema {
 public:
  explicit Schema(const std::string& text);

  [[nodiscard]] const std::string& Text() const { return text_; }
  [[nodiscard]] const std::vector<std::string>& Names() const { return names_; }
  // Bytes that the fields take in a record.
  [[nodiscard]] int Length() const { return length_; }

 private:
  std::string text_;
  std::vector<std::string> names_;
  int length_;
};

// A row as text: its key 1, and its fields in the schema's order.
struct TextRow {
  std::string key1;
  std::string key2;
  std::vector<std::string> fields;
};

// A table of the store with a record set on it. Failures throw Stop.
class Table {
 public:
  Table(Store& store, const std::string& name);

  void Create(int record_length, int key1_length, int key2_length);
  void Open();

  [[nodiscard]] CTVLCtreeRs& Rows() { return rows_; }

  // Fields of what follows; the schema must not need more than a record has.
  void Use(const Schema& schema);

  // Reads the rows whose key 1 begins with one of the prefixes; all rows without any. Key 2 is not read back
  // by tables.
  void Read(const std::vector<std::string>& prefixes);
  [[nodiscard]] TextRow RowAt(int row);

  // Puts a row behind those in memory; Write writes them all.
  void Add(const TextRow& row, const Schema& schema);
  void Write();

  // Deletes rows by whole keys 1, or by prefixes of them.
  void Delete(const std::vector<std::string>& keys, bool are_prefixes);

 private:
  [[noreturn]] void Fail(int code) const;

  std::string name_;
  CTVLCtreeRecord record_;
  int fields_ = 0;
  CTVLCtreeRs rows_;
};

}  // namespace tvl::cli

#endif
