#include "cli/trees/saved_sync_plan.h"

#include <algorithm>
#include <cerrno>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <utility>

#include "cli/file_status.h"
#include "cli/local_file.h"
#include "cli/output/json.h"
#include "cli/output/text.h"
#include "cli/process.h"

namespace tvl::cli {
namespace {

using nlohmann::json;

constexpr char kFormat[] = "tvl sync plan";
constexpr int kVersion = 1;
constexpr std::size_t kLargestPlan = std::size_t{256} << 20;

struct ActionName {
  SyncAction action;
  const char* name;
};
constexpr ActionName kActions[] = {
    {SyncAction::kCopy, "copy"}, {SyncAction::kMakeFolder, "make_folder"}, {SyncAction::kDelete, "delete"}};

PlannedFile Describe(std::string path, bool in_source, const std::optional<FileStatus>& status) {
  PlannedFile file = {std::move(path), in_source, "missing"};
  if (!status) return file;
  file.kind = status->IsFile() ? "file" : status->IsFolder() ? "folder" : status->IsLink() ? "link" : "other";
  if (status->IsFolder()) return file;
  file.size = status->size;
  file.seconds = status->seconds;
  file.nanoseconds = status->nanoseconds;
  return file;
}

void AddTree(const std::string& top, const std::string& below, std::vector<PlannedFile>& files) {
  const std::string path = Joined(top, below);
  const auto status = LinkStatusOf(below.empty() ? top : path);
  files.push_back(Describe(below, false, status));
  if (!status || !status->IsFolder()) return;
  std::vector<std::string> names;
  if (ListNames(below.empty() ? top : path, names) != 0) files.back().kind = "other";
  std::sort(names.begin(), names.end());
  for (const std::string& name : names) AddTree(top, below.empty() ? name : Joined(below, name), files);
}

// --- Writing ---

JsonObject DocumentOf(const PlannedFile& file) {
  JsonObject document;
  document.Text("side", file.in_source ? "source" : "target").Text("path", file.path).Text("kind", file.kind);
  document.Number("size", file.size).Number("seconds", file.seconds);
  return document.Number("nanoseconds", file.nanoseconds);
}

JsonObject DocumentOf(const PlannedEntry& entry) {
  JsonObject document;
  for (const ActionName& row : kActions) {
    if (row.action == entry.action) document.Text("action", row.name);
  }
  std::vector<JsonObject> files;
  for (const PlannedFile& file : entry.files) files.push_back(DocumentOf(file));
  return document.Text("name", entry.name).Array("files", files);
}

JsonObject DocumentOf(const SavedSyncPlan& plan) {
  const SyncScope& scope = plan.scope;
  JsonObject document;
  document.Text("format", kFormat).Number("version", kVersion).Text("store", plan.store);
  document.Text("direction", scope.direction == Direction::kGet ? "pull" : "push");
  document.Text("remote", scope.remote).Text("local", scope.local).Text("pattern", scope.pattern);
  document.Text("exclude", scope.exclude).Flag("delete", scope.remove).Flag("follow", scope.follow);
  std::vector<JsonObject> entries;
  for (const PlannedEntry& entry : plan.entries) entries.push_back(DocumentOf(entry));
  return document.Array("entries", entries);
}

[[noreturn]] void Fail(const std::string& what, int problem, const std::string& file) {
  throw Stop({}, SystemFailure(what, problem, file));
}

// --- Reading ---

[[noreturn]] void Refuse(const std::string& file, const std::string& why) {
  throw Stop({}, {kFailed, 0, "this is not a plan that tvl can carry out: " + why, 0, file});
}

std::string Bytes(const std::string& hex) {
  std::string bytes;
  for (std::size_t at = 0; at + 1 < hex.size(); at += 2)
    bytes += static_cast<char>(std::stoi(hex.substr(at, 2), nullptr, 16));
  return bytes;
}

// Returns a text as JsonObject::Text writes it. These functions throw an exception if the member is missing
// or of another type.
std::string TextOf(const json& object, const std::string& key) {
  const auto hex = object.find(key + "_hex");
  return hex == object.end() ? object.at(key).get<std::string>() : Bytes(hex->get<std::string>());
}

PlannedFile FileOf(const json& object) {
  return {TextOf(object, "path"),
          TextOf(object, "side") == "source",
          TextOf(object, "kind"),
          object.at("size").get<std::uint64_t>(),
          object.at("seconds").get<std::int64_t>(),
          object.at("nanoseconds").get<std::int64_t>()};
}

PlannedEntry EntryOf(const json& object) {
  const std::string action = TextOf(object, "action");
  const auto row = std::find_if(std::begin(kActions), std::end(kActions),
                                [&](const ActionName& known) { return action == known.name; });
  if (row == std::end(kActions)) throw std::invalid_argument("the action '" + action + "' is unknown");
  PlannedEntry entry = {row->action, TextOf(object, "name"), {}};
  for (const json& file : object.at("files")) entry.files.push_back(FileOf(file));
  return entry;
}

SavedSyncPlan PlanOf(const json& document) {
  if (TextOf(document, "format") != kFormat || document.at("version").get<int>() != kVersion)
    throw std::invalid_argument("its format is another one");
  SavedSyncPlan plan;
  plan.store = TextOf(document, "store");
  plan.scope = {TextOf(document, "direction") == "pull" ? Direction::kGet : Direction::kPut,
                TextOf(document, "remote"),
                TextOf(document, "local"),
                TextOf(document, "pattern"),
                TextOf(document, "exclude"),
                document.at("delete").get<bool>(),
                document.at("follow").get<bool>()};
  for (const json& entry : document.at("entries")) plan.entries.push_back(EntryOf(entry));
  return plan;
}

std::string ReadText(const std::string& name) {
  LoadedFile file;
  const int problem = LoadFile(name, Pipe::kNoWait, kLargestPlan, file);
  if (problem == EFBIG) Refuse(name, "it is larger than 256 MB");
  if (problem != 0) Fail("the plan cannot be read", problem, name);
  return std::move(file.text);
}

}  // namespace

PlannedEntry LookAt(const SyncEntry& entry) {
  PlannedEntry planned = {entry.action, entry.name, {}};
  if (entry.action == SyncAction::kDelete) {
    AddTree(entry.target, {}, planned.files);
    return planned;
  }
  planned.files.push_back(Describe({}, true, StatusOf(entry.source)));
  planned.files.push_back(Describe({}, false, StatusOf(entry.target)));
  return planned;
}

void WritePlan(const SavedSyncPlan& plan, const std::string& file) {
  const std::string part = file + "." + std::to_string(ProcessNumber()) + ".part";
  int problem = SaveNewFile(part, DocumentOf(plan).Line() + "\n");
  if (problem == 0) problem = ReplaceFileBy(part, file);
  if (problem == 0) return;
  if (problem != EEXIST) RemoveLocalFile(part);
  Fail("the plan cannot be written", problem, file);
}

SavedSyncPlan ReadPlan(const std::string& file) {
  const std::string text = ReadText(file);
  try {
    return PlanOf(json::parse(text));
  } catch (const json::exception& problem) {
    Refuse(file, problem.what());
  } catch (const std::logic_error& problem) {
    Refuse(file, problem.what());
  }
}

}  // namespace tvl::cli
