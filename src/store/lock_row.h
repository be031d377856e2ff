#ifndef TVL_STORE_LOCK_ROW_H
#define TVL_STORE_LOCK_ROW_H

#include <tvlclient/store.h>

// A row of the lock table. Key 1 is the record's first 82 characters, so the rows of an object are
// neighbours, and two rows of an object differ in their owner. Key 2 is empty.
//
//     offset  0  id, " 1"      2  object, 32     34  computer, 32
//            66  address, 8   74  class, 4       78  instance, 4 digits
//
// The rest of the row:  82  process id, 8 hexadecimal digits   90  user, 64

constexpr char kLockRowId[] = " 1\0";  // with its second zero also a list of one prefix
constexpr char kLockRowSchema[] =
    "id-D2 object-D32 computer-D32 ipaddr-D8 class-D4 instance-D4 pid-D8 username-D64";

constexpr unsigned int kLockKeyRoom = 128;  // a key pair: 82 characters, followed by zeros
constexpr unsigned int kLongestObject = TVL_LONGEST_OBJECT;
constexpr unsigned int kLockRecordLength = 154;
constexpr unsigned int kLockKeyLength = 82;

namespace tvl {

constexpr int kMostInstances = 9999;  // four digits

}  // namespace tvl

// Copies an object's name, cut to fit, without the blanks at its end: a row cannot tell them from its
// filling. False for a name that no row can contain, which is empty, blank or longer than 32 bytes.
[[nodiscard]] bool CopyObjectName(const char* name, char (&object)[64]);

// Builds the key pair in `buffer` (kLockKeyRoom bytes). Texts may be null or empty, which leaves blanks; an
// address that has not 8 characters and a class of fewer than 4 do too. The buffer.
char* BuildLockKey(char* buffer, const char* object, const char* computer, const char* address,
                   const char* clientClass, int instance);

// Copies the four class bytes of a key, unlike ParseLockKey with their blanks: they are part of a marker's
// name.
void CopyKeyClass(const char* key, char (&clientClass)[8]);

// Changes the owner's process id and user in a row of kLockRecordLength bytes.
void ChangeOwner(char* row, unsigned int pid, const char* user);

// Parses a key; each output may be null. Room: `object` and `computer` 33 bytes, `address` 9,
// `clientClass` 5. Blanks at the end are cut.
void ParseLockKey(const char* key, char* object, char* computer, char* address, char* clientClass,
                  int* instance);

#endif
