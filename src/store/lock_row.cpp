#include "store/lock_row.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "base/fixed_text.h"
#include "base/text.h"

namespace {

struct KeyField {
  unsigned int offset;
  unsigned int width;
};

constexpr KeyField kObject = {2, kLongestObject};
constexpr KeyField kComputer = {34, 32};
constexpr KeyField kAddress = {66, 8};
constexpr KeyField kClass = {74, 4};
constexpr KeyField kInstance = {78, 4};
constexpr KeyField kProcess = {82, 8};
constexpr KeyField kUser = {90, 64};

static_assert(kProcess.offset == kLockKeyLength && kUser.offset + kUser.width == kLockRecordLength);

// Returns the length of the record: the sum of the widths in its schema, the numbers after each "-D".
constexpr unsigned int WidthOf(std::string_view schema) {
  unsigned int total = 0;
  unsigned int width = 0;
  for (const char character : schema) {
    const bool is_digit = character >= '0' && character <= '9';
    width = is_digit ? 10 * width + static_cast<unsigned int>(character - '0') : 0;
    total += is_digit ? width - width / 10 : 0;
  }
  return total;
}
static_assert(WidthOf(kLockRowSchema) == kLockRecordLength);

void PutText(const char* text, const KeyField& field, char* buffer) {
  if (text == nullptr) return;
  std::memcpy(buffer + field.offset, text, strnlen(text, field.width));
}

void TakeText(const char* key, const KeyField& field, char* output) {
  if (output == nullptr) return;
  std::memcpy(output, key + field.offset, field.width);
  output[field.width] = 0;
  TrimRight(output);
}

}  // namespace

bool CopyObjectName(const char* name, char (&object)[64]) {
  tvl::CopyCut(object, name);
  if (std::strlen(name) > kLongestObject) return false;
  TrimRight(object);
  return object[0] != 0 && (object[1] != 0 || std::strchr(" \t\r\n", object[0]) == nullptr);
}

char* BuildLockKey(char* buffer, const char* object, const char* computer, const char* address,
                   const char* client_class, int instance) {
  std::memset(buffer, ' ', kLockKeyLength);
  std::memset(buffer + kLockKeyLength, 0, kLockKeySize - kLockKeyLength);
  buffer[1] = '1';
  PutText(object, kObject, buffer);
  PutText(computer, kComputer, buffer);
  if (address != nullptr && std::strlen(address) == kAddress.width) PutText(address, kAddress, buffer);
  if (client_class != nullptr && std::strlen(client_class) >= kClass.width)
    PutText(client_class, kClass, buffer);
  char digits[16];
  std::snprintf(digits, sizeof digits, "%04d", std::clamp(instance, 0, tvl::kMostInstances));
  PutText(digits, kInstance, buffer);
  return buffer;
}

void ParseLockKey(const char* key, char* object, char* computer, char* address, char* client_class,
                  int* instance) {
  TakeText(key, kObject, object);
  TakeText(key, kComputer, computer);
  TakeText(key, kAddress, address);
  TakeText(key, kClass, client_class);
  if (instance == nullptr) return;
  *instance = 0;
  const char* digits = key + kInstance.offset;
  std::from_chars(digits, digits + kInstance.width, *instance);
}

void CopyKeyClass(const char* key, char (&client_class)[8]) {
  std::memcpy(client_class, key + kClass.offset, kClass.width);
  client_class[kClass.width] = 0;
}

void ChangeOwner(char* row, unsigned int pid, const char* user) {
  char digits[kProcess.width + 1];
  std::snprintf(digits, sizeof digits, "%08x", pid);
  std::memset(row + kProcess.offset, ' ', kProcess.width + kUser.width);
  PutText(digits, kProcess, row);
  PutText(user, kUser, row);
}
