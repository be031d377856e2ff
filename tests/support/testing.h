#ifndef TVL_TESTS_SUPPORT_TESTING_H
#define TVL_TESTS_SUPPORT_TESTING_H

// What nearly every test uses: GoogleTest, texts and lists, files with the system's calls for them, and a
// folder for them.

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "support/arg.h"
#include "support/temp_folder.h"

namespace fs = std::filesystem;
using std::string;
using Codes = std::vector<int>;  // the results of several operations; Codes(3) is three zeros

#endif
