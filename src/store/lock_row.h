#ifndef TVL_STORE_LOCK_ROW_H
#define TVL_STORE_LOCK_ROW_H

#include <tvlclient/store.h>

// A row of the lock table. Key 1 consists of the first 82 characters of the record, so the rows of an object
// are adjacent and differ in their owner. Key 2 is empty.
//
//     offset  0  id, " 1"      2  object, 32     34  computer, 32
//            66  address, 8   74  class, 4       78  instance, 4 digits
//
// The rest of the row:  82  process id, 8 hexadecimal digits   90  user, 64

constexpr char kLockRowId[] = " 1\0";  // with its second zero also a list of one prefix
constexpr char kLockRowSchema[] =
    "id-D2 object-D32 computer-D32 ipaddr-D8 class-D4 instance-D4 pid-D8 username-D64";

constexpr unsigned int kLockKeySize = 128;  // a key pair: 82 characters, followed by zeros
constexpr unsigned int kLongestObject = TVL_LONGEST_OBJECT;
constexpr unsigned int kLockRecordLength = 154;
constexpr unsigned int kLockKeyLength = 82;

namespace tvl {

constexpr int kMostInstances = 9999;  // four digits

}  // namespace tvl

// Copies the name of an object, cut to fit, without trailing blanks, which a row cannot distinguish from its
// padding. Returns false for a name that no row can contain: an empty or blank one, or one longer than 32
// bytes.
[[nodiscard]] bool CopyObjectName(const char* name, char (&object)[64]);

// Builds the key pair in `buffer` (kLockKeySize bytes) and returns the buffer. Texts that are null or empty
// become blanks, and so do an address that does not have 8 characters and a class with fewer than 4.
char* BuildLockKey(char* buffer, const char* object, const char* computer, const char* address,
                   const char* client_class, int instance);

// Copies the four class bytes of a key including blanks, unlike ParseLockKey, because they are part of a
// marker's name.
void CopyKeyClass(const char* key, char (&client_class)[8]);

// Changes the owner's process id and user in a row of kLockRecordLength bytes.
void ChangeOwner(char* row, unsigned int pid, const char* user);

// Parses a key. Each output may be null; `object` and `computer` are buffers of 33 bytes, `address` of 9,
// `client_class` of 5. Trailing blanks are removed.
void ParseLockKey(const char* key, char* object, char* computer, char* address, char* client_class,
                  int* instance);

#endif
