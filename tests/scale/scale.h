#ifndef TVL_TESTS_SCALE_SCALE_H
#define TVL_TESTS_SCALE_SCALE_H

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "engine/vbctree.h"
#include "scale/database.h"
#include "support/temp_folder.h"

// A folder whose tables are in PostgreSQL, as its tables.ini says, and a server for all tests of the program.
// The service file names these services: "main", and what a test adds.
class ScaleTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override { CloseAll(); }

  [[nodiscard]] static Database& Server();

  // Adds a service, for new connections.
  static void AddService(const std::string& name, const std::string& settings);

  // Writes the tables.ini of the folder; `more` are further lines.
  void WriteTablesIni(const std::string& service, const std::string& more = "locks=asynchronous-accepted\n",
                      const std::string& store = kStore) const;

  static constexpr char kStore[] = "0123456789abcdef0123456789abcdef";

  // Creates a table of records of 20 bytes with keys of 4 and 3 bytes. Returns its handle.
  [[nodiscard]] int Make(const std::string& path) const;

  // The path of a table in PostgreSQL, and of one in a file.
  [[nodiscard]] std::string Remote(const std::string& name = "t") const {
    return folder_.Host("remote/" + name + ".dat");
  }
  [[nodiscard]] std::string Local(const std::string& name = "t") const {
    return folder_.Host("local/" + name + ".dat");
  }

  TempFolder folder_{TempFolder::Memory()};
  std::string schema_;
};

#endif
