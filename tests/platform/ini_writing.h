#ifndef TVL_TESTS_PLATFORM_INI_WRITING_H
#define TVL_TESTS_PLATFORM_INI_WRITING_H

#include <gtest/gtest.h>

#include <string>

#include "platform/ini_file.h"
#include "support/temp_folder.h"

class IniWriter : public testing::Test {
 protected:
  BOOL Put(const std::string& key, const std::string& value, const char* name = "f.ini") {
    return WritePrivateProfileStringA("Env", key.c_str(), value.c_str(), folder.Logical(name).c_str());
  }
  std::string Get(const std::string& key) {
    char text[64];
    GetPrivateProfileStringA("Env", key.c_str(), "default", text, sizeof text,
                             folder.Logical("f.ini").c_str());
    return text;
  }

  TempFolder folder;
};

#endif
