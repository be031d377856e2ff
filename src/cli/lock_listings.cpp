#include <fnmatch.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <tvlclient/errors.h>

#include "cli/columns.h"
#include "cli/console.h"
#include "cli/json.h"
#include "cli/lock_answer.h"
#include "cli/lock_preview.h"
#include "cli/options.h"
#include "cli/store.h"

namespace tvl::cli {
namespace {

using Row = std::vector<std::string>;

struct LockListing {
  std::string pattern;
  std::vector<Row> rows;
  std::vector<JsonObject> documents;
};

void AddLock(const TVLStandingLock* lock, void* listing_to_fill) {
  auto& listing = *static_cast<LockListing*>(listing_to_fill);
  if (fnmatch(listing.pattern.c_str(), lock->object, 0) != 0) return;
  listing.rows.push_back({lock->object, lock->alive != 0 ? "alive" : "dead", lock->user, lock->computer,
                          lock->ipAddress, lock->className, std::to_string(lock->instance),
                          std::to_string(lock->pid)});
  listing.documents.emplace_back()
      .Text("object", lock->object)
      .Flag("alive", lock->alive != 0)
      .Text("user", lock->user)
      .Text("computer", lock->computer)
      .Text("address", lock->ipAddress)
      .Text("class", lock->className)
      .Number("instance", lock->instance)
      .Number("pid", lock->pid);
}

void PrintListing(const Options& options, const std::string& command, const char* key, Row head,
                  std::vector<Row> rows, const std::vector<JsonObject>& documents) {
  Console console;
  if (options.json) {
    console.Out(JsonObject().Text("command", command).Array(key, documents).Line());
    return;
  }
  if (rows.empty()) return;
  if (!options.quiet) rows.insert(rows.begin(), std::move(head));
  for (const std::string& line : InColumns(rows)) console.Out(line);
}

CTVLClientSmbOpr& DirectoryOf(Store& store, const Options& options) {
  if (store.Directory() != nullptr) return *store.Directory();
  throw Stop(options.tcp, LibraryFailure(TVL_ERR_NOT_SUPPORTED));
}

ExitStatus RunLocks(const Options& options, const std::string& pattern) {
  Store store(options, NoWorkingDirectory(options), UseOf(options));
  LockListing listing = {pattern.empty() ? "*" : pattern, {}, {}};
  const int code = DirectoryOf(store, options).ListLocks(AddLock, &listing);
  if (code == TVL_ERR_SERVER_FILE) throw Stop({}, LockTableFailure(store));
  if (code != TVL_OK) throw Stop({}, LibraryFailure(code));
  PrintListing(options, "locks", "locks",
               {"OBJECT", "OWNER", "USER", "COMPUTER", "ADDRESS", "CLASS", "INSTANCE", "PROCESS"},
               listing.rows, listing.documents);
  return kDone;
}

// Cuts `text` at its last `separator` and returns what followed it.
std::string CutLast(std::string& text, char separator) {
  const std::size_t at = text.rfind(separator);
  if (at == std::string::npos) return {};
  std::string rest = text.substr(at + 1);
  text.resize(at);
  return rest;
}

std::string DottedAddress(const std::string& hex) {
  std::string text;
  for (std::size_t at = 0; at + 2 <= hex.size(); at += 2) {
    if (at > 0) text += '.';
    text += std::to_string(std::stoul(hex.substr(at, 2), nullptr, 16));
  }
  return text;
}

// An instance, by its marker's name: computer-address-number.process.class.tvp.
Row DescribeInstance(std::string name, JsonObject& document) try {
  CutLast(name, '.');
  const std::string client_class = CutLast(name, '.');
  const unsigned long pid = std::stoul(CutLast(name, '.'), nullptr, 16);
  const unsigned long number = std::stoul(CutLast(name, '-'));
  const std::string address = DottedAddress(CutLast(name, '-'));
  document.Text("computer", name).Text("address", address).Text("class", client_class);
  document.Number("instance", static_cast<std::int64_t>(number))
      .Number("pid", static_cast<std::int64_t>(pid));
  return {name, address, client_class, std::to_string(number), std::to_string(pid)};
} catch (const std::logic_error&) {
  document.Text("marker", name);  // a file of another origin that some program holds
  return {name, "-", "-", "-", "-"};
}

std::vector<std::string> LiveInstances(Store& store, const Options& options, std::string client_class) {
  if (options.dry_run) return LiveMarkers(store, client_class);
  int count = 0;
  CString list;
  if (const int code = store.Client().GetProcessesList(client_class.data(), count, list))
    throw Stop(options.tcp, LibraryFailure(code));
  std::vector<std::string> names;
  std::istringstream text(list.GetString());
  for (std::string name; std::getline(text, name, '|');) names.push_back(name);
  return names;
}

ExitStatus RunWho(const Options& options, const std::string& client_class) {
  Store store(options, NoWorkingDirectory(options), UseOf(options));
  std::vector<Row> rows;
  std::vector<JsonObject> documents;
  for (const std::string& name : LiveInstances(store, options, client_class.empty() ? "*" : client_class))
    rows.push_back(DescribeInstance(name, documents.emplace_back()));
  PrintListing(options, "who", "instances", {"COMPUTER", "ADDRESS", "CLASS", "INSTANCE", "PROCESS"}, rows,
               documents);
  return kDone;
}

}  // namespace

void AddLockListings(CLI::App& app, Invocation& invocation) {
  AddNamed(app, invocation, "locks", "List the existing locks", "PATTERN", "Which objects, with * and ?",
           RunLocks)
      .footer(
          "A dead owner's lock is free for the next client that asks. Looking changes nothing.\n\nExamples:\n"
          "  tvl locks\n  tvl locks 'ORD*'\n  tvl --json locks");
  AddNamed(app, invocation, "who", "List the live instances on the store", "CLASS",
           "Client class (default: all)", RunWho)
      .footer("Markers of dead instances are removed.\n\nExamples:\n  tvl who\n  tvl who mgrx");
}

}  // namespace tvl::cli
