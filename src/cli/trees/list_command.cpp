#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include <tvlclient/errors.h>
#include <tvlclient/store.h>

#include "cli/command_line.h"
#include "cli/file_status.h"
#include "cli/output/reporter.h"
#include "cli/output/text.h"
#include "cli/store.h"

namespace tvl::cli {
namespace {

constexpr char kEverything[] = "*.*";

struct ListRequest {
  std::string folder;
  std::string pattern = kEverything;
  bool details = false;
  bool all = false;
};

// An entry of a folder. A link is described by its target.
struct Entry {
  std::string name;
  const char* kind = "other";
  std::uint64_t size = 0;
  std::int64_t modified = 0;
};

Entry LookAt(const std::string& name, const std::string& path) {
  Entry entry = {name};
  auto status = StatusOf(path);
  if (!status) {
    status = LinkStatusOf(path);
    if (status && status->IsLink()) entry.kind = "dead link";
  } else if (status->IsFolder()) {
    entry.kind = "folder";
  } else if (status->IsFile()) {
    entry.kind = "file";
    entry.size = status->size;
  }
  if (status) entry.modified = status->seconds;
  return entry;
}

// Returns an empty text for a time that the system cannot represent, such as one after 2038 in 32 bits.
std::string TimeText(std::int64_t seconds, const char* format, tm* (*broken_down)(const time_t*)) {
  std::array<char, 64> text = {};
  const auto time = static_cast<time_t>(seconds);
  const tm* parts = time == seconds ? broken_down(&time) : nullptr;
  if (parts != nullptr) std::strftime(text.data(), text.size(), format, parts);
  return text.data();
}

// Internal files: journals of tables and unfinished transfers.
bool IsInternal(const char* name) {
  const TVL_FILE_KIND kind = TVLStoreFileKind(name);
  return kind == TVL_FILE_JOURNAL || kind == TVL_FILE_PART || kind == TVL_FILE_NEW_INI;
}

struct NameList {
  std::vector<std::string> names;
  bool all;

  // Lists even names that cannot be used in a path.
  static void Add(const TVLDirEntry* entry, void* list) {
    auto& self = *static_cast<NameList*>(list);
    if (self.all || !IsInternal(entry->name)) self.names.emplace_back(entry->name);
  }
};

std::vector<std::string> NamesIn(Store& store, const ListRequest& request) {
  const std::string folder = TidyName(request.folder);
  NameList list = {{}, request.all};
  ForgetFileErrors();
  const int code =
      store.Directory()->ListRemoteDir(folder.c_str(), request.pattern.c_str(), NameList::Add, &list);
  if (code != TVL_OK) throw Stop(request.folder, store.Explain(code, {folder, folder}));
  std::sort(list.names.begin(), list.names.end());
  return list.names;
}

// If the request names a file, the list contains just this file.
std::vector<Entry> EntriesOf(Store& store, const ListRequest& request) {
  const std::string name = TidyName(request.folder);
  const std::string path = store.StorePath(name);
  if (const auto status = StatusOf(path); status && !status->IsFolder()) return {LookAt(name, path)};
  std::vector<Entry> entries;
  for (const std::string& entry : NamesIn(store, request))
    entries.push_back(LookAt(entry, Joined(path, entry)));
  return entries;
}

void PrintEntries(Reporter& reporter, const std::vector<Entry>& entries, bool details) {
  std::vector<std::vector<std::string>> rows;
  for (const Entry& entry : entries) {
    const bool is_folder = std::string(entry.kind) == "folder";
    const std::string name = entry.name + (is_folder ? "/" : "");
    if (!details) {
      reporter.PrintLine(Printable(name));
      continue;
    }
    const bool is_file = std::string(entry.kind) == "file";
    rows.push_back({is_file ? std::to_string(entry.size) : "-",
                    TimeText(entry.modified, "%Y-%m-%d %H:%M:%S", std::localtime), name});
  }
  reporter.PrintColumns(rows);
}

std::vector<JsonObject> Documents(const std::vector<Entry>& entries) {
  std::vector<JsonObject> documents;
  for (const Entry& entry : entries) {
    documents.emplace_back()
        .Text("name", entry.name)
        .Text("kind", entry.kind)
        .Number("size", entry.size)
        .Text("modified", TimeText(entry.modified, "%Y-%m-%dT%H:%M:%SZ", std::gmtime));
  }
  return documents;
}

ExitStatus RunList(const Options& options, Reporter& reporter, const ListRequest& request) {
  if (request.pattern.find('/') != std::string::npos)
    throw Stop("a pattern matches names in one folder and cannot contain a separator");
  if (!options.tcp.empty()) throw Stop(options.tcp, LibraryFailure(TVL_ERR_NOT_SUPPORTED));
  Store store(options, {}, UseOf(options));
  const std::vector<Entry> entries = EntriesOf(store, request);
  if (reporter.PrintsJson()) {
    JsonObject document = reporter.Document().Text("directory", TidyName(request.folder));
    reporter.Print(document.Array("entries", Documents(entries)));
  } else {
    PrintEntries(reporter, entries, request.details);
  }
  return kDone;
}

}  // namespace

void AddListCommand(CLI::App& app, Invocation& invocation) {
  auto request = std::make_shared<ListRequest>();
  CLI::App& command = AddCommand(
      app, "ls", "List a folder of the store", "ls", invocation,
      [request](const Options& options, Reporter& reporter) { return RunList(options, reporter, *request); });
  AddText(command, "DIR", request->folder, "Folder in the store (default: the root)", "");
  AddText(command, "PATTERN", request->pattern, "Names to list, with * and ?, in any case", "");
  command.add_flag("-a,--all", request->all, "List journals of tables and unfinished transfers too");
  command.add_flag("-l,--long", request->details, "Show size in bytes and time of last change");
  command.footer("Examples:\n  tvl ls\n  tvl ls -l docs\n  tvl ls docs '*.doc'\n  tvl --json ls docs");
}

}  // namespace tvl::cli
