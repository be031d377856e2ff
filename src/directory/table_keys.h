#ifndef TVL_DIRECTORY_TABLE_KEYS_H
#define TVL_DIRECTORY_TABLE_KEYS_H

#include <string_view>

namespace tvl {

// The items of a read list, one after the other: texts with runs of the byte 0x01 between them.
class ReadList {
 public:
  static constexpr unsigned int kLongest = 1023;

  // What goes beyond the greatest length is cut.
  explicit ReadList(const char* text);

  // The next item, or an empty one behind the last.
  [[nodiscard]] std::string_view Next();

 private:
  std::string_view rest_;
};

// One entry of a delete list. The list was cut up, so both keys are zero-terminated texts.
struct DeleteEntry {
  char* key1;
  char* key2;
};

// Takes the next entry, key 1, 0x01, key 2 and 0x02 or the list's end, off the front of `list`, cutting it
// up. False at the end of the list, or if what is left is no entry.
[[nodiscard]] bool TakeDeleteEntry(char*& list, DeleteEntry& entry);

}  // namespace tvl

constexpr int kKeyRoom = 256;  // of the destination of KeyStrcpy

// Copies `key`, cut or completed with blanks to `length`, and a NUL. The destination, or null, and it stays,
// if the key is empty.
char* KeyStrcpy(char* destination, const char* key, int length);

#endif
