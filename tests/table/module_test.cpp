#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include <tvlclient/tvlclient.h>

#include "support/helper_process.h"
#include "support/store.h"
#include "support/temp_folder.h"

namespace {

constexpr int kRecord = 5;
constexpr int kKey = 4;

int StateAfter(int (CTVLClientSmbOpr::*operation)(char*, int*, char*, int*, int*, char*, char*),
               CTVLClientSmbOpr& connection) {
  int state = -1;
  if ((connection.*operation)(Arg("ORD1"), &state, nullptr, nullptr, nullptr, nullptr, nullptr) != TVL_OK)
    return -2;
  return state;
}

// Goes through all that needs the engine and tells what came of it: making a table, opening one, writing,
// reading, deleting; lock and unlock.
int UseEngine(const std::vector<std::string>& arguments) {
  const Store store(arguments[0]);
  CTVLClientSmbOpr connection;
  if (store.Connect(connection) != TVL_OK || connection.InstanceId() != 1) return 1;
  CTVLCtreeRs set(&connection);
  const int made = set.InitAndOpen(Arg("new.dat"), kRecord, kKey, 0);
  const int opened = set.Open(Arg("t.dat"));
  set.AddNew("c", nullptr, "third");
  const int written = set.WriteTheBlock();
  const int read = set.ReadKeyPrefiz(Arg("a")) == 1 ? set.Count() : -1;
  const int deleted = set.DeleteKeys(Arg("b\x01\x02"));
  set.Close();
  const int locked = StateAfter(&CTVLClientSmbOpr::Lock, connection);
  const int unlocked = StateAfter(&CTVLClientSmbOpr::Unlock, connection);
  char line[80];
  std::snprintf(line, sizeof line, "%d %d %d %d %d lock %d %d", made, opened, written, read, deleted, locked,
                unlocked);
  Tell(line);
  return connection.Close();
}
const Role useEngine("use-engine", UseEngine);

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The module with one of its functions under another name.
std::string WithoutFunction(std::string module, const std::string& name) {
  const std::string text = '\0' + name + '\0';
  for (std::size_t at = module.find(text); at != std::string::npos; at = module.find(text, at + 1))
    module[at + 1] = '?';
  return module;
}

class ModuleTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    program_ = std::filesystem::canonical("/proc/self/exe");
    module_ = ReadFile(program_.parent_path() / "vbctree.so");
    ASSERT_FALSE(module_.empty());
  }

  void SetUp() override {
    folder_.Make("program");
    std::filesystem::copy_file(program_, Copy());
    store_.Make();
    CTVLClientSmbOpr connection;
    CTVLCtreeRs set(&connection);
    ASSERT_EQ(store_.Connect(connection), TVL_OK);
    ASSERT_EQ(set.InitAndOpen(Arg("t.dat"), kRecord, kKey, 0), TVL_OK);
    for (const char* key : {"a1", "a2", "b"}) ASSERT_EQ(set.AddNew(key, nullptr, "first"), 1);
    ASSERT_EQ(set.WriteTheBlock(), TVL_OK);
  }

  [[nodiscard]] std::string Copy() const { return folder_.Host("program/client"); }

  // What a program tells that has `module` beside it under that name.
  [[nodiscard]] std::string Use(const std::string& module, const char* name = "vbctree.so") const {
    if (!module.empty()) folder_.Write(std::string("program/") + name, module);
    FILE* output = popen((Copy() + " --role use-engine " + folder_.Host()).c_str(), "r");
    char line[200] = {};
    const char* told = std::fgets(line, sizeof line, output);
    const int end = pclose(output);
    return told != nullptr && end == 0 ? std::string(line, std::strlen(line) - 1)
                                       : "ended with " + std::to_string(end);
  }

  static inline std::filesystem::path program_;
  static inline std::string module_;
  TempFolder folder_{TempFolder::Memory()};
  Store store_{folder_.Host()};
};

constexpr char kWell[] = "0 0 0 2 0 lock 1 0";
constexpr char kNothing[] = "23 20 30 -1 30 lock 0 0";

TEST_F(ModuleTest, AMissingOrBrokenModuleIsAnEngineThatRefuses) {
  EXPECT_EQ(Use(""), kNothing);
  EXPECT_EQ(Use("no module"), kNothing);
  EXPECT_EQ(Use(module_.substr(0, module_.size() / 2)), kNothing);
  EXPECT_EQ(Use(module_.substr(0, 100)), kNothing);
  EXPECT_EQ(Use(module_), kWell);
}

TEST_F(ModuleTest, TheNameOfTheOtherPlatformComesFirst) {
  folder_.Write("program/vbctree.so", WithoutFunction(module_, "IOpen"));
  EXPECT_EQ(Use(module_, "vbctree.dll"), kWell);
  EXPECT_EQ(Use(module_.substr(0, 100), "vbctree.dll"), "20 20 30 -1 30 lock 0 0")
      << "a broken one is passed over";
}

class ModuleWithoutTest : public ModuleTest,
                          public testing::WithParamInterface<std::pair<const char*, const char*>> {};

TEST_P(ModuleWithoutTest, EndsInTheFailureOfWhatNeedsIt) {
  EXPECT_EQ(Use(WithoutFunction(module_, GetParam().first)), GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(
    Functions, ModuleWithoutTest,
    testing::Values(
        std::pair("GetLastErrorText", kWell), std::pair("IOpen", "20 20 30 -1 30 lock 0 0"),
        std::pair("IREOpen", kWell), std::pair("IClose", kWell),
        std::pair("GetLength", "20 20 30 -1 30 lock 0 0"),
        std::pair("SetCurrentRecord", "0 0 0 2 0 lock 0 0"), std::pair("GetFieldValueByIdx", kWell),
        std::pair("SetFieldValueByIdx", kWell), std::pair("GetFieldValueByName", kWell),
        std::pair("SetFieldValueByName", kWell), std::pair("WriteKeys", "0 0 0 2 0 lock 0 0"),
        std::pair("WriteRawKeys", "0 0 34 2 0 lock 1 0"), std::pair("DeleteKeys", "0 0 0 2 35 lock 1 1"),
        std::pair("ReadKeyEq", kWell), std::pair("ReadKeyGt", "0 0 0 1 0 lock 1 0"),
        std::pair("ReadKeyGtEq", "0 0 0 0 0 lock 1 0"), std::pair("ReadKeyLt", kWell),
        std::pair("ReadKeyLtEq", kWell), std::pair("CreateArchive", "23 0 0 2 0 lock 1 0"),
        std::pair("BeginBatch", kWell), std::pair("EndBatch", kWell), std::pair("CloseAll", kWell)),
    [](const auto& test) { return test.param.first; });

}  // namespace
