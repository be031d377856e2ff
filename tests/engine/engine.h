#ifndef TVL_TESTS_ENGINE_ENGINE_H
#define TVL_TESTS_ENGINE_ENGINE_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/vbctree.h"

// The module as programs meet it: loaded at run time, its functions found by name.
struct Engine {
  Engine();

  void* module;
  decltype(&::GetLastErrorText) GetLastErrorText;
  decltype(&::IOpen) IOpen;
  decltype(&::IREOpen) IREOpen;
  decltype(&::IClose) IClose;
  decltype(&::GetLength) GetLength;
  decltype(&::SetCurrentRecord) SetCurrentRecord;
  decltype(&::GetFieldValueByIdx) GetFieldValueByIdx;
  decltype(&::SetFieldValueByIdx) SetFieldValueByIdx;
  decltype(&::GetFieldValueByName) GetFieldValueByName;
  decltype(&::SetFieldValueByName) SetFieldValueByName;
  decltype(&::WriteKeys) WriteKeys;
  decltype(&::WriteRawKeys) WriteRawKeys;
  decltype(&::DeleteKeys) DeleteKeys;
  decltype(&::ReadKeyEq) ReadKeyEq;
  decltype(&::ReadKeyGt) ReadKeyGt;
  decltype(&::ReadKeyGtEq) ReadKeyGtEq;
  decltype(&::ReadKeyLt) ReadKeyLt;
  decltype(&::ReadKeyLtEq) ReadKeyLtEq;
  decltype(&::CreateArchive) CreateArchive;
  decltype(&::BeginBatch) BeginBatch;
  decltype(&::EndBatch) EndBatch;
  decltype(&::CloseAll) CloseAll;

  // Writes a record, given as a text that is completed with blanks. 1 or 0.
  int Write(int handle, const std::string& key1, const std::string& key2, const std::string& record) const;

  // "key|record" of what a read finds, without blanks at the end of either, or "".
  std::string Read(decltype(&::ReadKeyEq) read, int handle, int keyNumber, const std::string& key) const;

  // All records in the order of a key, in the form of Read.
  std::vector<std::string> All(int handle, int keyNumber) const;
};

const Engine& TheEngine();

// A folder with one table, "t.dat", of records of 20 bytes with keys of 4 and 3 bytes.
class EngineTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // A fresh folder under `parent`.
  static std::string MakeFolder(const std::string& parent);

  const Engine& engine_ = TheEngine();
  std::string folder_;
  std::string table_;
};

// "ok", or what SQLite has to say against a table's file. Nobody may be using it.
std::string CheckIntegrity(const std::string& table);

// Tries to lock all of a file, as whoever deletes it does first.
bool CanLockWhole(const std::string& path);

#endif
