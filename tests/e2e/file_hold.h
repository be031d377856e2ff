#ifndef TVL_TESTS_E2E_FILE_HOLD_H
#define TVL_TESTS_E2E_FILE_HOLD_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

// Protects an existing file from deletion and replacement, as a program does that uses it.
class FileHold {
 public:
  explicit FileHold(const std::string& path) : file_(open(path.c_str(), O_RDWR | O_CLOEXEC)) {
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    EXPECT_EQ(fcntl(file_, F_OFD_SETLK, &lock), 0) << path;
  }
  ~FileHold() { close(file_); }
  FileHold(const FileHold&) = delete;
  FileHold& operator=(const FileHold&) = delete;

 private:
  const int file_;
};

#endif
