#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/files.h"
#include "platform/held_file.h"
#include "platform/ini_file.h"
#include "platform/new_held_file.h"

// One of the two clients in sharing.py, which runs this program as one for Linux and as one for Windows.

namespace {

// Prints a result at once, because the script waits for it.
int Say(const char* text) {
  std::puts(text);
  return std::fflush(stdout);
}

// Holds a file until the standard input ends.
int Hold(HANDLE file) {
  if (file == INVALID_HANDLE_VALUE) return Say("refused");
  Say("held");
  while (std::getchar() != EOF) {
  }
  tvl::ReleaseFile(file);
  return CloseHandle(file) != 0 ? 0 : 1;
}

int HoldExisting(const char* path) {
  const HANDLE file = CreateFileA(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, 0);
  const bool held = file != INVALID_HANDLE_VALUE && tvl::HoldFile(file);
  return Hold(held ? file : INVALID_HANDLE_VALUE);
}

int WriteValues(const char* path, const std::string& prefix, int count) {
  for (int i = 0; i < count; ++i) {
    const std::string key = prefix + std::to_string(i);
    if (WritePrivateProfileStringA("Env", key.c_str(), key.c_str(), path) == 0) return 1;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string command = argc > 2 ? argv[1] : "";
  if (command == "hold") return HoldExisting(argv[2]);
  if (command == "create") return Hold(tvl::CreateHeldFile(argv[2]));
  if (command == "try") return Say(tvl::IsFileHeld(argv[2]) ? "held" : "free");
  if (command == "delete") return Say(DeleteFileA(argv[2]) != 0 ? "deleted" : "refused");
  if (command == "copy" && argc > 3) return Say(CopyFileA(argv[2], argv[3], 0) != 0 ? "copied" : "refused");
  if (command == "values" && argc > 4)
    return WriteValues(argv[2], argv[3], static_cast<int>(std::strtol(argv[4], nullptr, 10)));
  return 2;
}
