#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include <tvlclient/errors.h>
#include <tvlclient/version.h>

#include "cli/options.h"
#include "cli/output/columns.h"
#include "cli/output/console.h"
#include "cli/output/failure.h"
#include "cli/output/json.h"
#include "cli/output/text.h"
#include "cli/store.h"

namespace tvl::cli {
namespace {

constexpr std::size_t kLongestPath = 259;

// Only a directory store offers these services, and they touch no local files.
Store OpenStore(const Options& options) {
  if (!options.tcp.empty()) throw Stop(options.tcp, LibraryFailure(TVL_ERR_NOT_SUPPORTED));
  return {options, {}, UseOf(options)};
}

struct ServiceRequest {
  std::string name;
};

// --- Update packs ---

struct PackList {
  std::vector<std::vector<std::string>> rows;
  std::vector<JsonObject> documents;

  static void Add(const TVLUpdatePack* pack, void* list) {
    auto& self = *static_cast<PackList*>(list);
    self.rows.push_back({std::to_string(pack->number), *pack->suffix == 0 ? "-" : pack->suffix, pack->file});
    self.documents.emplace_back()
        .Number("number", pack->number)
        .Text("suffix", pack->suffix)
        .Text("file", pack->file);
  }
};

ExitStatus RunPacks(const Options& options, const ServiceRequest& request) {
  Store store = OpenStore(options);
  PackList packs;
  ForgetFileErrors();
  if (const int code = store.Directory()->ListUpdatePacks(request.name.c_str(), PackList::Add, &packs))
    throw Stop({}, LibraryFailure(code));
  Console console;
  if (options.json) {
    JsonObject document;
    document.Text("command", "packs").Text("prefix", request.name);
    console.Out(document.Array("packs", packs.documents).Line());
  } else {
    for (const std::string& line : InColumns(packs.rows)) console.Out(line);
  }
  return kDone;
}

// --- Versions ---

struct Version {
  bool executable = false;
  int version = 0;
  int build = 0;
  int total = 0;
};

Version VersionOf(const std::string& file) {
  std::string path = file;
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) throw Stop(file, SystemFailure("cannot be read", errno, {}));
  if (!S_ISREG(status.st_mode)) throw Stop(file, {kFailed, 0, "is not a regular file", 0, {}});
  if (path.size() > kLongestPath || path.find('\\') != std::string::npos)
    throw Stop(file, {kFailed, 0, "the path is longer than 259 bytes or contains a backslash", 0, {}});
  Version found;
  ForgetFileErrors();
  found.executable =
      TVLGetVersionFromTavolisWinExe(path.data(), &found.version, &found.build, &found.total) != 0;
  const bool read =
      found.executable || TVLGetVersionFromFile(path.data(), &found.version, &found.build, &found.total) != 0;
  const Failure failure = LibraryFailure(TVL_OK);
  if (!read && failure.error != 0) throw Stop(file, SystemFailure("cannot be read", failure.error, {}));
  if (found.total == 0) throw Stop(file, {kFailed, 0, "contains no version information", 0, {}});
  return found;
}

std::string LibraryVersion() {
  const int version = TVLLibraryVersion();
  return std::to_string(version / 10000) + "." + std::to_string(version / 100 % 100) + "." +
         std::to_string(version % 100);
}

// Reports the versions of the programs themselves.
ExitStatus ReportOwnVersions(const Options& options) {
  const std::string engine = TVLEngineVersion();
  Console console;
  if (options.json) {
    JsonObject document;
    document.Text("command", "version").Text("tvl", TVL_VERSION).Text("library", LibraryVersion());
    console.Out(document.Text("engine", engine).Line());
    return kDone;
  }
  for (const std::string& line : InColumns({{"tvl", TVL_VERSION},
                                            {"library", LibraryVersion()},
                                            {"table engine", engine.empty() ? "not available" : engine}}))
    console.Out(line);
  return kDone;
}

ExitStatus RunVersion(const Options& options, const ServiceRequest& request) {
  if (request.name.empty()) return ReportOwnVersions(options);
  const Version found = VersionOf(request.name);
  const std::string version = GetTavolisVersionString(found.total).GetString();
  const std::string build = GetTavolisBuildString(found.total).GetString();
  const std::string date = TVLGetVersionDateFromTotal(found.total, found.build).GetString();
  Console console;
  if (options.json) {
    JsonObject document;
    document.Text("command", "version").Text("file", request.name);
    document.Text("kind", found.executable ? "executable" : "version file").Text("version", version);
    document.Text("build", build).Text("date", date).Number("total", found.total);
    console.Out(document.Line());
  } else {
    console.Out(version + " [" + build + "]  " + date);
  }
  return kDone;
}

// --- Command line ---

using ServiceRun = ExitStatus (*)(const Options&, const ServiceRequest&);

CLI::App& AddService(CLI::App& parent, Invocation& invocation, const char* name, const char* path,
                     const char* description, ServiceRun run, std::shared_ptr<ServiceRequest> request) {
  return AddCommand(parent, name, description, path, invocation,
                    [run, request, &options = invocation.options] { return run(options, *request); });
}

}  // namespace

void AddServiceCommands(CLI::App& app, Invocation& invocation) {
  auto prefix = std::make_shared<ServiceRequest>();
  CLI::App& packs =
      AddService(app, invocation, "packs", "packs", "List the update packs of the store", RunPacks, prefix);
  AddText(packs, "PREFIX", prefix->name, "Prefix of their names (default: all)", "");
  packs.footer(
      "Prints number, suffix and file of each pack in the folder of UpdateDirectory,\nsorted by number.\n\n"
      "Examples:\n  tvl packs upd\n  tvl --json packs upd");
  auto file = std::make_shared<ServiceRequest>();
  CLI::App& version =
      AddService(app, invocation, "version", "version",
                 "Print the version of tvl, of an executable or of a version file", RunVersion, file);
  AddText(version, "FILE", file->name,
          "A local file (default: the versions of tvl, its library and the table engine)", "");
  version.footer("Examples:\n  tvl version\n  tvl version program.exe\n  tvl version /srv/store/version.txt");
}

}  // namespace tvl::cli
