#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include <tvlclient/errors.h>

#include "cli/command_line.h"
#include "cli/locks/glob.h"
#include "cli/locks/lock_answer.h"
#include "cli/output/reporter.h"
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
  if (!MatchesGlob(listing.pattern, lock->object)) return;
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

// `nothing` says what it means that there are no rows.
void PrintListing(const Options& options, Reporter& reporter, const char* key, Row head,
                  std::vector<Row> rows, const std::vector<JsonObject>& documents,
                  const std::string& nothing) {
  if (reporter.PrintsJson()) {
    reporter.Print(reporter.Document().Array(key, documents));
    return;
  }
  if (rows.empty()) {
    reporter.Notice({}, nothing);
    return;
  }
  if (!options.quiet) rows.insert(rows.begin(), std::move(head));
  reporter.PrintColumns(rows);
}

CTVLClientSmbOpr& DirectoryOf(Store& store, const Options& options) {
  if (store.Directory() != nullptr) return *store.Directory();
  throw Stop(options.tcp, LibraryFailure(TVL_ERR_NOT_SUPPORTED));
}

ExitStatus RunLocks(const Options& options, Reporter& reporter, const std::string& pattern) {
  Store store(options, NoWorkingDirectory(options), UseOf(options));
  LockListing listing = {pattern.empty() ? "*" : pattern, {}, {}};
  const int code = DirectoryOf(store, options).ListLocks(AddLock, &listing);
  if (code == TVL_ERR_SERVER_FILE) throw Stop({}, LockTableFailure(store));
  if (code != TVL_OK) throw Stop({}, LibraryFailure(code));
  PrintListing(options, reporter, "locks",
               {"OBJECT", "OWNER", "USER", "COMPUTER", "ADDRESS", "CLASS", "INSTANCE", "PROCESS"},
               listing.rows, listing.documents,
               pattern.empty() ? "there are no locks" : "no lock matches '" + pattern + "'");
  return kDone;
}

struct InstanceListing {
  std::vector<Row> rows;
  std::vector<JsonObject> documents;
};

void AddInstance(const TVLInstance* instance, void* listing_to_fill) {
  auto& listing = *static_cast<InstanceListing*>(listing_to_fill);
  JsonObject& document = listing.documents.emplace_back();
  if (instance->computer == nullptr) {  // not a marker, but a file that another program holds
    document.Text("marker", instance->marker);
    listing.rows.push_back({instance->marker, "-", "-", "-", "-"});
    return;
  }
  document.Text("computer", instance->computer).Text("address", instance->ipAddress);
  document.Text("class", instance->className);
  document.Number("instance", instance->instance).Number("pid", instance->pid);
  listing.rows.push_back({instance->computer, instance->ipAddress, instance->className,
                          std::to_string(instance->instance), std::to_string(instance->pid)});
}

ExitStatus RunWho(const Options& options, Reporter& reporter, const std::string& client_class) {
  Store store(options, NoWorkingDirectory(options), UseOf(options));
  InstanceListing listing;
  const std::string wanted = client_class.empty() ? "*" : client_class;
  const int code = DirectoryOf(store, options).ListInstances(wanted.c_str(), AddInstance, &listing);
  if (code != TVL_OK) throw Stop({}, LibraryFailure(code));
  PrintListing(
      options, reporter, "instances", {"COMPUTER", "ADDRESS", "CLASS", "INSTANCE", "PROCESS"}, listing.rows,
      listing.documents,
      "no other client" + (client_class.empty() ? "" : " of class '" + client_class + "'") + " is connected");
  return kDone;
}

}  // namespace

void AddLockListings(CLI::App& app, Invocation& invocation) {
  AddNamed(app, invocation, "locks", "List the existing locks", "PATTERN",
           "Names of objects, with * and ? (default: all)", RunLocks)
      .footer(
          "If an owner is dead, the next client that asks gets the lock. Changes nothing.\n\nExamples:\n"
          "  tvl locks\n  tvl locks 'ORD*'\n  tvl --json locks");
  AddNamed(app, invocation, "who", "List the clients that are connected to the store", "CLASS",
           "Client class (default: all)", RunWho)
      .footer("Removes the markers of dead clients.\n\nExamples:\n  tvl who\n  tvl who mgrx");
}

}  // namespace tvl::cli
