#ifndef TVL_DIRECTORY_TABLE_KEYS_H
#define TVL_DIRECTORY_TABLE_KEYS_H

#include <string_view>

namespace tvl {

// Iterates over the items of a read list: texts separated by runs of the byte 0x01.
class ReadList {
 public:
  static constexpr unsigned int kLongest = 1023;

  // A list longer than the maximum is cut.
  explicit ReadList(const char* text);

  // Returns the next item, or an empty text after the last one.
  [[nodiscard]] std::string_view Next();

 private:
  std::string_view rest_;
};

// One entry of a delete list. Parsing terminates both keys with zeros.
struct DeleteEntry {
  char* key1;
  char* key2;
};

// Parses the next entry: key 1, 0x01, key 2, and 0x02 or the end of the list. Modifies the list and advances
// `list`. Returns false at the end, or if the rest is not an entry.
[[nodiscard]] bool TakeDeleteEntry(char*& list, DeleteEntry& entry);

}  // namespace tvl

constexpr int kKeySize = 256;  // of the destination of KeyStrcpy

// Copies `key`, cut or padded with blanks to `length`, and a NUL. Returns the destination, or null without
// changing it if the key is empty.
char* KeyStrcpy(char* destination, const char* key, int length);

#endif
