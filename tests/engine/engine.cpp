#include "engine/engine.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>

namespace {

template <typename Function>
void Resolve(void* module, const char* name, Function& function) {
  function = reinterpret_cast<Function>(dlsym(module, name));
  if (function == nullptr) {
    std::fprintf(stderr, "%s is missing\n", name);
    abort();
  }
}

std::string WithoutBlanks(const std::string& text) {
  const std::size_t last = text.find_last_not_of(' ');
  return last == std::string::npos ? "" : text.substr(0, last + 1);
}

}  // namespace

Engine::Engine() : module(dlopen(TVL_ENGINE_MODULE, RTLD_NOW | RTLD_LOCAL)) {
  if (module == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    abort();
  }
  Resolve(module, "GetLastErrorText", GetLastErrorText);
  Resolve(module, "IOpen", IOpen);
  Resolve(module, "IREOpen", IREOpen);
  Resolve(module, "IClose", IClose);
  Resolve(module, "GetLength", GetLength);
  Resolve(module, "SetCurrentRecord", SetCurrentRecord);
  Resolve(module, "GetFieldValueByIdx", GetFieldValueByIdx);
  Resolve(module, "SetFieldValueByIdx", SetFieldValueByIdx);
  Resolve(module, "GetFieldValueByName", GetFieldValueByName);
  Resolve(module, "SetFieldValueByName", SetFieldValueByName);
  Resolve(module, "WriteKeys", WriteKeys);
  Resolve(module, "WriteRawKeys", WriteRawKeys);
  Resolve(module, "DeleteKeys", DeleteKeys);
  Resolve(module, "ReadKeyEq", ReadKeyEq);
  Resolve(module, "ReadKeyGt", ReadKeyGt);
  Resolve(module, "ReadKeyGtEq", ReadKeyGtEq);
  Resolve(module, "ReadKeyLt", ReadKeyLt);
  Resolve(module, "ReadKeyLtEq", ReadKeyLtEq);
  Resolve(module, "CreateArchive", CreateArchive);
  Resolve(module, "BeginBatch", BeginBatch);
  Resolve(module, "EndBatch", EndBatch);
  Resolve(module, "CloseAll", CloseAll);
}

const Engine& TheEngine() {
  static const Engine engine;
  return engine;
}

int Engine::Write(int handle, const std::string& key1, const std::string& key2,
                  const std::string& record) const {
  std::string bytes = record;
  bytes.resize(static_cast<std::size_t>(std::max(0, GetLength(handle, 0))), ' ');
  return WriteRawKeys(handle, key1.c_str(), key2.c_str(), bytes.data());
}

std::string Engine::Read(decltype(&::ReadKeyEq) read, int handle, int keyNumber,
                         const std::string& key) const {
  char found[1024] = {};
  char record[6144] = {};
  std::memcpy(found, key.c_str(), key.size() + 1);
  if (read(handle, keyNumber, found, record) != 1) return "";
  EXPECT_EQ(strlen(found), static_cast<std::size_t>(GetLength(handle, keyNumber)));
  EXPECT_EQ(strlen(record), static_cast<std::size_t>(GetLength(handle, 0)));
  return WithoutBlanks(found) + '|' + WithoutBlanks(record);
}

std::vector<std::string> Engine::All(int handle, int keyNumber) const {
  std::vector<std::string> all;
  for (std::string found = Read(ReadKeyGtEq, handle, keyNumber, ""); !found.empty();
       found = Read(ReadKeyGt, handle, keyNumber, found.substr(0, found.find('|')))) {
    all.push_back(found);
  }
  return all;
}

std::string EngineTest::MakeFolder(const std::string& parent) {
  std::string pattern = parent + "/tvl_engine_XXXXXX";
  return mkdtemp(pattern.data()) == nullptr ? "" : pattern;
}

void EngineTest::SetUp() {
  folder_ = MakeFolder(testing::TempDir());
  ASSERT_FALSE(folder_.empty());
  table_ = folder_ + "/t.dat";
  ASSERT_EQ(engine_.CreateArchive(table_.c_str(), 20, 4, 3), 0) << engine_.GetLastErrorText();
}

void EngineTest::TearDown() {
  engine_.CloseAll();
  std::filesystem::remove_all(folder_);
}

std::string CheckIntegrity(const std::string& table) {
  sqlite3* database = nullptr;
  sqlite3_stmt* check = nullptr;
  sqlite3_open(table.c_str(), &database);
  sqlite3_prepare_v2(database, "PRAGMA integrity_check", -1, &check, nullptr);
  const bool answered = check != nullptr && sqlite3_step(check) == SQLITE_ROW;
  std::string answer =
      answered ? reinterpret_cast<const char*>(sqlite3_column_text(check, 0)) : sqlite3_errmsg(database);
  sqlite3_finalize(check);
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
