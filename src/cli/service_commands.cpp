#include <CLI/CLI.hpp>
#include <cerrno>
#include <string>
#include <vector>

#include <tvlclient/errors.h>
#include <tvlclient/version.h>

#include "cli/command_line.h"
#include "cli/file_status.h"
#include "cli/output/reporter.h"
#include "cli/store.h"

namespace tvl::cli {
namespace {

constexpr std::size_t kLongestPath = 259;

// Only a directory store offers these services, and they touch no local files.
Store OpenStore(const Options& options) {
  if (!options.tcp.empty()) throw Stop(options.tcp, LibraryFailure(TVL_ERR_NOT_SUPPORTED));
  return {options, {}, UseOf(options)};
}

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

ExitStatus RunPacks(const Options& options, Reporter& reporter, const std::string& prefix) {
  Store store = OpenStore(options);
  PackList packs;
  ForgetFileErrors();
  if (const int code = store.Directory()->ListUpdatePacks(prefix.c_str(), PackList::Add, &packs))
    throw Stop({}, LibraryFailure(code));
  if (reporter.PrintsJson())
    reporter.Print(reporter.Document().Text("prefix", prefix).Array("packs", packs.documents));
  else
    reporter.PrintColumns(packs.rows);
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
  const auto status = StatusOf(path);
  if (!status) throw Stop(file, SystemFailure("cannot be read", errno, {}));
  if (!status->IsFile()) throw Stop(file, {kFailed, 0, "is not a regular file", 0, {}});
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
ExitStatus ReportOwnVersions(Reporter& reporter) {
  const std::string engine = TVLEngineVersion();
  if (reporter.PrintsJson()) {
    JsonObject document = reporter.Document().Text("tvl", TVL_VERSION).Text("library", LibraryVersion());
    reporter.Print(document.Text("engine", engine));
    return kDone;
  }
  reporter.PrintColumns({{"tvl", TVL_VERSION},
                         {"library", LibraryVersion()},
                         {"table engine", engine.empty() ? "not available" : engine}});
  return kDone;
}

ExitStatus RunVersion(const Options& /*unused*/, Reporter& reporter, const std::string& file) {
  if (file.empty()) return ReportOwnVersions(reporter);
  const Version found = VersionOf(file);
  const std::string version = GetTavolisVersionString(found.total).GetString();
  const std::string build = GetTavolisBuildString(found.total).GetString();
  const std::string date = TVLGetVersionDateFromTotal(found.total, found.build).GetString();
  if (reporter.PrintsJson()) {
    JsonObject document = reporter.Document().Text("file", file);
    document.Text("kind", found.executable ? "executable" : "version file").Text("version", version);
    reporter.Print(document.Text("build", build).Text("date", date).Number("total", found.total));
  } else {
    reporter.PrintLine(version + " [" + build + "]  " + date);
  }
  return kDone;
}

}  // namespace

void AddServiceCommands(CLI::App& app, Invocation& invocation) {
  AddNamed(app, invocation, "packs", "List the update packs of the store", "PREFIX",
           "Prefix of their names (default: all)", RunPacks)
      .footer(
          "Prints number, suffix and file of each pack in the folder that UpdateDirectory\nnames in "
          "tvl.ini, sorted by number.\n\nExamples:\n  tvl packs upd\n  tvl --json packs upd");
  AddNamed(app, invocation, "version", "Print the version of tvl, of an executable or of a version file",
           "FILE", "A local file (default: the versions of tvl, its library and the table engine)",
           RunVersion)
      .footer("Examples:\n  tvl version\n  tvl version program.exe\n  tvl version /srv/store/version.txt");
}

}  // namespace tvl::cli
