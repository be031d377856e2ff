#ifndef TVL_CLI_TABLES_TABLE_H
#define TVL_CLI_TABLES_TABLE_H

#include <optional>
#include <string>
#include <vector>

#include <tvlclient/record.h>
#include <tvlclient/record_set.h>

#include "cli/store.h"

namespace tvl::cli {

// Adds why the table engine failed.
void AddTableReason(Failure& failure);

// Returns the path of a table's file, which always ends in ".dat" regardless of the extension in its name.
[[nodiscard]] std::string DataFileName(std::string path);

// A field of a schema. Its name is in lower case.
struct Field {
  std::string name;
  bool is_number = false;
  std::size_t length = 0;    // bytes of a text, or digits in front of a number's decimal point
  std::size_t decimals = 0;  // digits after the decimal point

  // Returns why the field cannot store `value` unchanged; empty if it can.
  [[nodiscard]] std::string WhyRefused(const std::string& value) const;
};

// The fields of a schema, in order. Throws Stop for a schema that cannot be read.
class Schema {
 public:
  explicit Schema(const std::string& text);

  [[nodiscard]] const std::string& Text() const { return text_; }
  [[nodiscard]] const std::vector<Field>& Fields() const { return fields_; }
  // Returns the position of the field with this name, if there is one.
  [[nodiscard]] std::optional<std::size_t> Find(const std::string& name) const;
  // Returns the number of bytes that the fields take in a record.
  [[nodiscard]] int Length() const { return length_; }

 private:
  std::string text_;
  std::vector<Field> fields_;
  int length_;
};

// Lengths of a table in bytes.
struct TableLengths {
  int record = 0;
  int key1 = 0;
  int key2 = 0;
};

// A row as text: its key 1 and its fields in the order of the schema.
struct TextRow {
  std::string key1;
  std::string key2;
  std::vector<std::string> fields;
};

// A table of the store with a record set on it. Failures throw Stop.
class Table {
 public:
  Table(Store& store, const std::string& name);

  // Creates the table, or with `dry_run` only checks whether that would work. Replaces an existing table only
  // with `replace`, after all possible checks.
  void Create(const TableLengths& lengths, bool replace, bool dry_run);
  void Open();
  // Opens the table to change its rows. Refuses the store's own tables.
  void OpenToChange();

  [[nodiscard]] CTVLCtreeRs& Rows() { return rows_; }

  // Sets the fields for the following calls. The schema must fit into a record.
  void Use(const Schema& schema);

  // Reads the rows whose key 1 begins with one of the prefixes, or all rows if there are none. Key 2 cannot
  // be read back.
  void Read(const std::vector<std::string>& prefixes);
  [[nodiscard]] TextRow RowAt(int row);

  // Checks a row and appends it to the rows in memory. Write writes all of them.
  void Add(const TextRow& row, const Schema& schema);
  void Write();

  // Deletes rows by whole keys 1 or by prefixes. With `dry_run` only checks that whole keys exist.
  void Delete(const std::vector<std::string>& keys, bool are_prefixes, bool dry_run);

 private:
  [[noreturn]] void Fail(int code) const;
  [[nodiscard]] std::string HostPath() const;
  void CheckMayChange() const;
  void CheckReplaceable(bool replace);
  void CheckExists(const std::string& key);
  void CheckForDamage() const;

  Store& store_;
  std::string name_;
  CTVLCtreeRecord record_;
  int fields_ = 0;
  CTVLCtreeRs rows_;
};

}  // namespace tvl::cli

#endif
