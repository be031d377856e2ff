#include <tvlclient/tvlclient.h>

#include "support/helper_process.h"
#include "support/process.h"
#include "support/store_test.h"

namespace {

constexpr int kRecord = 5;
constexpr int kKey = 4;

int StateAfter(int (CTVLClientSmbOpr::*operation)(char*, int*, char*, int*, int*, char*, char*),
               CTVLClientSmbOpr& connection) {
  int state = -1;
  const int code = (connection.*operation)(Arg("ORD1"), &state, nullptr, nullptr, nullptr, nullptr, nullptr);
  return code == TVL_OK ? state : -2;
}

// Uses all functions that need the engine and reports the results: creating a table, opening one, writing,
// reading, deleting, locking and unlocking.
const Role use_engine("use-engine", [](const std::vector<string>& arguments) {
  const Store store(arguments[0]);
  CTVLClientSmbOpr connection;
  if (store.Connect(connection) != TVL_OK || connection.InstanceId() != 1) return 1;
  CTVLCtreeRs set(&connection);
  std::vector<int> codes = {set.InitAndOpen(Arg("new.dat"), kRecord, kKey, 0), set.Open(Arg("t.dat"))};
  set.AddNew("c", nullptr, "third");
  codes.push_back(set.WriteTheBlock());
  codes.push_back(set.ReadKeyPrefiz(Arg("a")) == 1 ? set.Count() : -1);
  codes.push_back(set.DeleteKeys(Arg("b\x01\x02")));
  set.Close();
  codes.push_back(StateAfter(&CTVLClientSmbOpr::Lock, connection));
  codes.push_back(StateAfter(&CTVLClientSmbOpr::Unlock, connection));
  string line;
  for (const int code : codes) line += (line.empty() ? "" : " ") + std::to_string(code);
  Say(line);
  return connection.Close();
});

// Returns the module with one of its functions renamed.
string WithoutFunction(string module, const string& name) {
  const string text = '\0' + name + '\0';
  for (std::size_t at = module.find(text); at != string::npos; at = module.find(text, at + 1))
    module[at + 1] = '?';
  return module;
}

class EngineModule : public StoreTest {
 protected:
  EngineModule() {
    const fs::path program = fs::canonical("/proc/self/exe");
    folder_.Make("program");
    fs::copy_file(program, folder_.Host("program/client"));
    fs::copy_file(program.parent_path() / "vbctree.so", folder_.Host("module"));
    module_ = folder_.Read("module");
  }

  void FillStore() const {
    store_.Make();
    CTVLClientSmbOpr connection;
    CTVLCtreeRs set(&connection);
    ASSERT_EQ(store_.Connect(connection), TVL_OK);
    ASSERT_EQ(set.InitAndOpen(Arg("t.dat"), kRecord, kKey, 0), TVL_OK);
    for (const char* key : {"a1", "a2", "b"}) ASSERT_EQ(set.AddNew(key, nullptr, "first"), 1);
    ASSERT_EQ(set.WriteTheBlock(), TVL_OK);
  }

  // Returns the report of a program that has `module` next to it with that name.
  [[nodiscard]] string Use(const string& module, const char* name = "vbctree.so") const {
    FillStore();
    if (!module.empty()) folder_.Write(string("program/") + name, module);
    const ProcessResult result =
        RunProcess({{folder_.Host("program/client"), "--role", "use-engine", folder_.Host()}});
    return result.exit == 0 ? result.out : "ended with " + std::to_string(result.exit);
  }

  string module_;
};

constexpr char kWell[] = "0 0 0 2 0 1 0\n";
constexpr char kNothing[] = "23 20 30 -1 30 0 0\n";
constexpr char kNoneOpens[] = "20 20 30 -1 30 0 0\n";

TEST_F(EngineModule, EveryCallFailsWithoutUsableModule) {
  EXPECT_EQ(Use(""), kNothing);
  EXPECT_EQ(Use("no module"), kNothing);
  EXPECT_EQ(Use(module_.substr(0, 10000)), kNothing);
  EXPECT_EQ(Use(module_), kWell);
}

TEST_F(EngineModule, DllNameIsTriedFirst) {
  folder_.Write("program/vbctree.so", WithoutFunction(module_, "IOpen"));
  EXPECT_EQ(Use(module_, "vbctree.dll"), kWell);
  EXPECT_EQ(Use(module_.substr(0, 100), "vbctree.dll"), kNoneOpens) << "a broken one is passed over";
}

TEST_F(EngineModule, MissingFunctionFailsItsCallers) {
  const std::pair<const char*, const char*> cases[] = {
      {"IOpen", kNoneOpens},
      {"GetLength", kNoneOpens},
      {"SetCurrentRecord", "0 0 0 2 0 0 0\n"},
      {"WriteKeys", "0 0 0 2 0 0 0\n"},
      {"WriteRawKeys", "0 0 34 2 0 1 0\n"},
      {"DeleteKeys", "0 0 0 2 35 1 1\n"},
      {"ReadKeyGt", "0 0 0 1 0 1 0\n"},
      {"ReadKeyGtEq", "0 0 0 0 0 1 0\n"},
      {"CreateArchive", "23 0 0 2 0 1 0\n"},
      {"IClose", kWell},
      {"BeginBatch", kWell},
      {"EndBatch", kWell},
      {"CloseAll", kWell},
      {"GetLastProblem", kWell},
      {"IsStillNamed", kWell},
  };
  for (const auto& [function, result] : cases)
    EXPECT_EQ(Use(WithoutFunction(module_, function)), result) << function;
}

}  // namespace
