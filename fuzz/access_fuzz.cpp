#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "server/settings/access.h"

// The lists by which the server admits clients. The input's first line is the name of a client, the second
// the path of a file, the rest a list of names and what they may do; the same bytes are read as a list of
// networks, too.

namespace {

using std::string;
using tvl::server::AllowedAddresses;
using tvl::server::NameList;
using tvl::server::Right;
using tvl::server::Rights;

void Expect(bool holds) {
  if (!holds) std::abort();
}

string TakeLine(std::string_view& rest) {
  const std::string_view line = rest.substr(0, rest.find('\n'));
  rest.remove_prefix(std::min(line.size() + 1, rest.size()));
  return string(line);
}

// A file in memory, which is read by its path.
class File {
 public:
  explicit File(std::string_view bytes) : file_(memfd_create("list", MFD_CLOEXEC)) {
    Expect(write(file_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
  }
  ~File() { close(file_); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  [[nodiscard]] string Path() const { return "/proc/self/fd/" + std::to_string(file_); }

 private:
  int file_;
};

std::optional<Rights> RightsIn(std::string_view list, const string& name) try {
  return NameList(File(list).Path()).RightsOf(name);
} catch (const std::runtime_error&) {
  return std::nullopt;
}

string Backwards(std::string_view list) {
  string lines;
  while (!list.empty()) lines.insert(0, TakeLine(list) + "\n");
  return lines;
}

// What holds for any list that is accepted.
void CheckNames(std::string_view list, const string& name, const string& path) {
  const std::optional<Rights> rights = RightsIn(list, name);
  if (!rights) return;
  const Right right = rights->At(path);
  if (right != Right::kNone) Expect(rights->AdmitsAnything());
  if (name.empty() || list.find(name) == std::string_view::npos) Expect(!rights->AdmitsAnything());
  const std::optional<Rights> backwards = RightsIn(Backwards(list), name);
  Expect(backwards && backwards->At(path) == right);
  const std::optional<Rights> longer = RightsIn(string(list) + "\n# comment\n\nsomebody else\twrite\n", name);
  Expect(longer && (name == "somebody else" || longer->At(path) == right));
  const std::optional<Rights> wrong = RightsIn(string(list) + "\nname\tall\n", name);
  Expect(!wrong);
}

// A list of networks is refused, or lets in each address that is a line of it.
void CheckNetworks(std::string_view list) try {
  AllowedAddresses allowed;
  allowed.Add("@" + File(list).Path());
  while (!list.empty()) {
    asio::error_code problem;
    const string line = TakeLine(list);
    const asio::ip::address address = asio::ip::make_address(line, problem);
    const bool is_network = line.find('/') != string::npos;  // which may look like the name of a link
    if (!problem && !is_network) Expect(allowed.Allows(address));
  }
} catch (const std::runtime_error&) {
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  std::string_view rest(reinterpret_cast<const char*>(bytes), size);
  const string name = TakeLine(rest);
  const string path = TakeLine(rest);
  CheckNames(rest, name, path);
  CheckNetworks(rest);
  return 0;
}
