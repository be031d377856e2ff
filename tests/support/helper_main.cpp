#include <gtest/gtest.h>
#include <unistd.h>

#include <map>

#include "support/helper_process.h"

namespace {

std::map<std::string, RoleFunction>& Roles() {
  static std::map<std::string, RoleFunction> roles;
  return roles;
}

}  // namespace

Role::Role(const char* name, RoleFunction function) {
  Roles()[name] = function;
}

void Say(const std::string& line) {
  const std::string bytes = line + '\n';
  if (write(STDOUT_FILENO, bytes.data(), static_cast<unsigned int>(bytes.size())) < 0) _exit(99);
}

std::string Listen() {
  std::string line;
  char character = 0;
  while (read(STDIN_FILENO, &character, 1) == 1 && character != '\n') line += character;
  return line;
}

int main(int argc, char** argv) {
  if (argc > 2 && std::string(argv[1]) == "--role") {
    return Roles().at(argv[2])(std::vector<std::string>(argv + 3, argv + argc));
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
