#include "scale/scale.h"

#include <stdlib.h>

#include <fstream>

namespace {

// The server and its service file, for all tests.
struct Shared {
  TempFolder folder{TempFolder::Memory()};
  Database server{folder.Host("main")};
};
std::unique_ptr<Shared> shared;
int schemas = 0;

}  // namespace

Database& ScaleTest::Server() {
  return shared->server;
}

void ScaleTest::SetUp() {
  if (const std::string why = Database::WhyNot(); !why.empty()) GTEST_SKIP() << why;
  if (shared == nullptr) {
    shared = std::make_unique<Shared>();
    std::filesystem::permissions(shared->folder.Host(), std::filesystem::perms(0755));
    setenv("PGSERVICEFILE", shared->folder.Host("services.conf").c_str(), 1);
    AddService("main", shared->server.Service());
    shared->server.Start();
  }
  schema_ = "s" + std::to_string(++schemas);
  folder_.Make("local");
  folder_.Make("remote");
  WriteTablesIni("main");
  ASSERT_EQ(PermitTables(folder_.Host("remote").c_str(), folder_.Host("tables.ini").c_str()), 1);
}

void ScaleTest::AddService(const std::string& name, const std::string& settings) {
  std::ofstream(shared->folder.Host("services.conf"), std::ios::app) << '[' << name << "]\n"
                                                                     << settings << '\n';
}

void ScaleTest::WriteTablesIni(const std::string& service, const std::string& more,
                               const std::string& store) const {
  folder_.Write("tables.ini", "engine=postgresql\nservice=" + service + "\nschema=" + schema_ +
                                  "\nstore=" + store + '\n' + more);
}

int ScaleTest::Make(const std::string& path) const {
  if (CreateArchive(path.c_str(), 20, 4, 3) != 0) return -1;
  return IOpen(path.c_str());
}
