// Runs every command with --json and compares the members of its documents with docs/json.md.

#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <regex>
#include <set>
#include <sstream>

#include "e2e/file_hold.h"
#include "e2e/played_server.h"

namespace {

using nlohmann::json;
using Members = std::set<std::string>;

constexpr char kFailures[] = "Failures";

std::string WithoutBrackets(const std::string& name) {
  return name.starts_with('[') ? name.substr(1, name.size() - 2) : name;
}

// Returns the members that the page lists for each command, and for failures.
std::map<std::string, Members> DocumentedMembers() {
  static const std::regex heading("## (tvl )?(.*)");
  static const std::regex reference("The same members as for `(.*)`\\.");
  static const std::regex name("`([^`]+)`");
  std::map<std::string, Members> sections;
  std::ifstream page(TVL_JSON_PAGE);
  std::string section;
  std::smatch found;
  for (std::string line; std::getline(page, line);) {
    if (std::regex_match(line, found, heading)) section = found[2];
    if (std::regex_match(line, found, reference)) sections[section] = sections.at(found[1]);
    if (!line.starts_with("| `")) continue;
    const std::string cell = line.substr(0, line.find(" | ", 2));
    for (std::sregex_iterator at(cell.begin(), cell.end(), name); at != std::sregex_iterator(); ++at)
      sections[section].insert(WithoutBrackets((*at)[1]));
  }
  return sections;
}

void AddMembers(const json& value, const std::string& path, Members& members) {
  if (value.is_array()) {
    for (const json& element : value) AddMembers(element, path + "[]", members);
  } else if (value.is_object() && !value.contains("files")) {
    for (const auto& [key, member] : value.items()) {
      if (!key.ends_with("_hex")) AddMembers(member, path.empty() ? key : path + "." + key, members);
    }
  } else if (value.is_object() && path == "progress") {
    for (const auto& [key, member] : value.items()) members.insert(path + "." + key);
  } else {  // a simple value, or the sums of one kind in a plan
    members.insert(path);
  }
}

class JsonOutput : public TvlTest {
 protected:
  JsonOutput() {
    Configure("Nonsense=1\nFileCompare=HASH\n[Environments]\nUpdateDirectory=packs\nTmpDir=" +
              folder.Host("store/tmp"));
    folder.Write("store/packs/upd1.exe", "");
    folder.Write("work/rows.csv", "key1,record\nA1,x\n");
    folder.Write("work/version.txt", "@versione=5.3@");
    for (const std::string side : {"store/", "work/"}) {
      folder.Write(side + "docs/a", side);
      folder.Write(side + "docs/" + side.substr(0, 1), side);
      std::filesystem::create_symlink("nowhere", folder.Host(side + "docs/dead"));
    }
    folder.Write("store/tmp/procs/a.foreign.tvp", "");
    foreign_.emplace(folder.Host("store/tmp/procs/a.foreign.tvp"));
  }

  // Runs a command and adds the members of its documents to those of the command, and of its failures to
  // those of failures. Expects that `tvl` ends with the exit code of the last failure, if there is one and no
  // document followed it.
  void Run(const std::string& command, int exit, const Words& arguments) {
    SCOPED_TRACE(command + testing::PrintToString(arguments));
    Words words = arguments;
    std::istringstream names(command);
    auto at = words.begin();
    for (std::string name; names >> name;) at = words.insert(at, name) + 1;
    json last;
    std::istringstream lines(ExpectJson(exit, words));
    for (std::string line; std::getline(lines, line);) {
      last = json::parse(line);
      EXPECT_EQ(last.value("command", command), command);
      const bool failed = last.contains("type");
      Members& members = seen_[failed ? kFailures : command];
      AddMembers(last, {}, members);
      if (!failed) members.erase("command");
    }
    EXPECT_EQ(last.value("exit", exit), exit);
    if (exit != 0 && last.contains("type")) failed_.insert(command);
  }

  std::map<std::string, Members> seen_;
  std::set<std::string> failed_;  // commands with a failure

 private:
  std::optional<FileHold> foreign_;
};

TEST_F(JsonOutput, MembersAreDocumented) {
  const struct {
    const char* command;
    int exit;
    Words arguments;
  } rows[] = {
      {"init", 0, {"new"}},
      {"init", 1, {"new"}},
      {"info", 0, {}},
      {"info", 5, {"--config", "none"}},
      {"config show", 0, {}},
      {"config show", 5, {"--config", "none"}},
      {"config check", 3, {}},
      {"config check", 5, {"--config", "none"}},
      {"get", 3, {"-r", "docs", "--work", "other"}},
      {"get", 6, {"none"}},
      {"put", 3, {"-r", "docs"}},
      {"put", 6, {"none"}},
      {"cp", 3, {"-r", "docs", "copy"}},
      {"cp", 6, {"none", "x"}},
      {"ls", 0, {}},
      {"ls", 6, {"none"}},
      {"mkdir", 0, {"made"}},
      {"mkdir", 1, {"made"}},
      {"rm", 0, {"-r", "copy"}},
      {"rm", 1, {"docs"}},
      {"mv", 0, {"docs/a", "moved"}},
      {"mv", 6, {"none", "x"}},
      {"sync pull", 3, {"docs", "planned", "--plan", "plan.json"}},
      {"sync pull", 3, {"docs", "pulled", "--check"}},
      {"sync pull", 6, {"none", "x"}},
      {"sync push", 3, {"pushed", "docs", "--check"}},
      {"sync push", 6, {"x", "none"}},
      {"sync run", 3, {"plan.json", "--check"}},
      {"sync run", 6, {"none"}},
      {"lock", 0, {"A", "-n"}},
      {"lock", 4, {"HELD"}},
      {"unlock", 0, {"A", "-n"}},
      {"unlock", 4, {"HELD"}},
      {"locks", 0, {}},
      {"locks", 5, {"--config", "none"}},
      {"who", 0, {}},
      {"who", 5, {"--config", "none"}},
      {"table create", 0, {"t", "--key1", "4", "--record", "8"}},
      {"table create", 1, {"t", "--key1", "4", "--record", "8"}},
      {"table info", 0, {"t"}},
      {"table info", 6, {"none"}},
      {"table write", 0, {"t", "--schema", "record-D8", "--key1", "A", "record=x"}},
      {"table write", 2, {"t", "--schema", "record-D8", "--key1", "A", "x"}},
      {"table import", 0, {"t", "rows.jsonl", "--schema", "record-D8"}},
      {"table import", 1, {"t", "rows.csv", "--schema", "record-D8"}},
      {"table read", 0, {"t"}},
      {"table read", 6, {"none"}},
      {"table export", 0, {"t"}},
      {"table export", 6, {"none"}},
      {"table move", 0, {"t", "--to", "postgresql", "-n"}},
      {"table move", 1, {"t", "--to", "sqlite"}},
      {"table adopt", 0, {"t", "-n"}},
      {"table adopt", 1, {"t"}},
      {"table fork", 0, {"t", "-n"}},
      {"table fork", 1, {"t"}},
      {"table gc", 1, {}},
      {"table delete", 0, {"t", "A"}},
      {"table delete", 1, {"t", "A"}},
      {"env set", 0, {"Name", "1"}},
      {"env set", 7, {"TmpDir", "1"}},
      {"env get", 0, {"Name"}},
      {"env get", 6, {"none"}},
      {"env list", 0, {}},
      {"env list", 5, {"--config", "none"}},
      {"env unset", 0, {"Name"}},
      {"env unset", 6, {"none"}},
      {"packs", 0, {}},
      {"packs", 5, {"--config", "none"}},
      {"version", 0, {}},
      {"version", 0, {"version.txt"}},
      {"version", 6, {"none"}},
      {"hash", 0, {"rows.csv"}},
      {"hash", 1, {"."}},
      {"ping", 2, {}},
      {"status", 0, {}},
      {"status", 5, {"--config", "none"}},
      {"backup", 0, {folder.Host("saved")}},
      {"backup", 1, {folder.Host("saved")}},
      {"restore", 0, {folder.Host("saved"), folder.Host("restored")}},
      {"restore", 1, {folder.Host("store"), folder.Host("again")}},
      {"doctor", 0, {}},
      {"doctor", 6, {"none"}},
  };
  folder.Write("work/rows.jsonl", "{\"key1\":\"B\"}\n");
  Process holder(Start({"lock", "HELD", "--", "sh", "-c", "echo locked >&2; exec sleep 60"}));
  ASSERT_TRUE(holder.ReadErrorsUntil("locked"));
  for (const auto& row : rows) Run(row.command, row.exit, row.arguments);
  for (const char* command : {"info", "ping", "status"}) {
    const Server server(Answers({"TVL/1.2\t0\t7\t0\t1\tshort\tlong", kAlive}));
    Run(command, 0, {"--tcp", "127.0.0.1:" + std::to_string(server.Port())});
  }
  std::map<std::string, Members> documented = DocumentedMembers();
  documented.erase("table gc");  // its documents need a database server
  EXPECT_EQ(seen_.size(), documented.size());
  for (const auto& [command, members] : documented) EXPECT_EQ(seen_[command], members) << command;
  for (const Words& words : AllCommands()) {
    std::string command;
    for (const std::string& word : words) command += (command.empty() ? "" : " ") + word;
    EXPECT_TRUE(failed_.contains(command)) << command;
    Run(command, 2, {"--nonsense"});
  }
  Run("", 2, {"nonsense"});
  Run("", 2, {});
}

}  // namespace
