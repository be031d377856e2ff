#include "engine/engine.h"

#include <cstdio>

namespace {

string WithoutBlanks(const string& text) {
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

}  // namespace

string KeyOf(int row) {
  char key[16];
  std::snprintf(key, sizeof key, "%08d", row);
  return key;
}

int Write(int handle, const string& key1, const string& key2, const string& record) {
  string bytes = record;
  bytes.resize(static_cast<std::size_t>(std::max(0, GetLength(handle, 0))), ' ');
  return WriteRawKeys(handle, key1.c_str(), key2.c_str(), bytes.data());
}

string Read(decltype(&ReadKeyEq) read, int handle, int keyNumber, const string& key) {
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
  for (string found = Read(ReadKeyGtEq, handle, keyNumber, ""); !found.empty();
       found = Read(ReadKeyGt, handle, keyNumber, found.substr(0, found.find('|')))) {
    all.push_back(found);
  }
  return all;
}

string CheckIntegrity(const string& table) {
  sqlite3* database = nullptr;
  sqlite3_open(table.c_str(), &database);
  string answer;
  const auto take = [](void* text, int, char** columns, char**) {
    *static_cast<string*>(text) += columns[0];
    return 0;
  };
  sqlite3_exec(database, "PRAGMA integrity_check", take, &answer, nullptr);
  sqlite3_close(database);
  return answer;
}

int Execute(sqlite3* database, const char* sql) {
  return sqlite3_exec(database, sql, nullptr, nullptr, nullptr);
}
