#include "engine/engine.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace {

std::string WithoutBlanks(const std::string& text) {
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

}  // namespace

int Write(int handle, const std::string& key1, const std::string& key2, const std::string& record) {
  std::string bytes = record;
  bytes.resize(static_cast<std::size_t>(std::max(0, GetLength(handle, 0))), ' ');
  return WriteRawKeys(handle, key1.c_str(), key2.c_str(), bytes.data());
}

std::string Read(decltype(&ReadKeyEq) read, int handle, int keyNumber, const std::string& key) {
  char found[1024] = {};
  char record[6144] = {};
  std::memcpy(found, key.c_str(), key.size() + 1);
  if (read(handle, keyNumber, found, record) != 1) return "";
  EXPECT_EQ(strlen(found), static_cast<std::size_t>(GetLength(handle, keyNumber)));
  EXPECT_EQ(strlen(record), static_cast<std::size_t>(GetLength(handle, 0)));
  return WithoutBlanks(found) + '|' + WithoutBlanks(record);
}

Rows All(int handle, int keyNumber) {
  Rows all;
  for (std::string found = Read(ReadKeyGtEq, handle, keyNumber, ""); !found.empty();
       found = Read(ReadKeyGt, handle, keyNumber, found.substr(0, found.find('|')))) {
    all.push_back(found);
  }
  return all;
}

std::string CheckIntegrity(const std::string& table) {
  sqlite3* database = nullptr;
  sqlite3_open(table.c_str(), &database);
  std::string answer;
  const auto take = [](void* text, int, char** columns, char**) {
    *static_cast<std::string*>(text) += columns[0];
    return 0;
  };
  sqlite3_exec(database, "PRAGMA integrity_check", take, &answer, nullptr);
  sqlite3_close(database);
  return answer;
}

bool CanLockWhole(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDWR | O_CLOEXEC);
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_len = off_t{1} << 62;
  const bool can = fcntl(descriptor, F_OFD_SETLK, &lock) == 0;
  close(descriptor);
  return can;
}
