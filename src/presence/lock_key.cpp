#include "presence/lock_key.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>

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
constexpr int kMostInstances = 9999;

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
                   const char* clientClass, int instance) {
  std::memset(buffer, ' ', kLockKeyLength);
  std::memset(buffer + kLockKeyLength, 0, kLockKeyRoom - kLockKeyLength);
  buffer[1] = '1';
  PutText(object, kObject, buffer);
  PutText(computer, kComputer, buffer);
  if (address != nullptr && std::strlen(address) == kAddress.width) PutText(address, kAddress, buffer);
  if (clientClass != nullptr && std::strlen(clientClass) >= kClass.width)
    PutText(clientClass, kClass, buffer);
  char digits[16];
  std::snprintf(digits, sizeof digits, "%04d", std::clamp(instance, 0, kMostInstances));
  PutText(digits, kInstance, buffer);
  return buffer;
}

void ParseLockKey(const char* key, char* object, char* computer, char* address, char* clientClass,
                  int* instance) {
  TakeText(key, kObject, object);
  TakeText(key, kComputer, computer);
  TakeText(key, kAddress, address);
  TakeText(key, kClass, clientClass);
  if (instance == nullptr) return;
  *instance = 0;
  const char* digits = key + kInstance.offset;
  std::from_chars(digits, digits + kInstance.width, *instance);
}
