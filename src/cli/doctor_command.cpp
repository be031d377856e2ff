#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <tvlclient/errors.h>
#include <tvlclient/store.h>

#include "cli/command_line.h"
#include "cli/configuration.h"
#include "cli/doctor_report.h"
#include "cli/layout.h"
#include "cli/output/reporter.h"

namespace tvl::cli {
namespace {

struct DoctorRequest {
  std::string folder;
  std::string peer;
  bool fix = false;
};

// The folder to examine, and the store in it if there is one.
struct Patient {
  std::string folder;
  std::optional<TVLStoreLayout> store;
  std::string problem;  // why the store's configuration cannot be used
};

void FindStore(const std::string& configuration, Patient& patient) {
  try {
    patient.store = LayoutOf(configuration);
  } catch (const Stop& stop) {
    patient.problem = stop.Reason().Message();
  }
}

Patient FindPatient(const Options& options, const DoctorRequest& request) {
  Patient patient = {request.folder, {}, {}};
  if (request.folder.empty()) {
    if (!options.tcp.empty())
      throw Stop("doctor examines a folder: name DIR, or a configuration with --config, instead of --tcp");
    patient.store = LayoutOf(FindConfiguration(options));
    patient.folder = patient.store->root;
  } else if (const std::optional<std::string> configuration = ConfigurationIn(request.folder)) {
    FindStore(*configuration, patient);
  }
  return patient;
}

// Does what `tvl init --missing` does, then removes what killed programs left. Reports each step.
void Repair(const TVLStoreLayout& store, Report& report) {
  std::vector<std::string> done;
  const std::vector<std::string> missing = MissingParts(store);
  CreateMissingParts(store, {});
  for (const std::string& path : missing) done.push_back("created " + path);
  TVLStoreRemoveLeftovers(
      &store,
      [](const char* path, void* list) {
        static_cast<std::vector<std::string>*>(list)->push_back(std::string("removed ") + path);
      },
      &done);
  if (done.empty()) done.emplace_back("nothing to repair");
  for (const std::string& step : done) report.Add({"repair", 0, TVL_VERDICT_OK, step.c_str(), ""});
}

void AddFinding(const TVLFinding* finding, void* report) {
  static_cast<Report*>(report)->Add(*finding);
}

void CheckFolder(const Options& options, const Patient& patient, Report& report) {
  TVLStoreProblem problem;
  const int code =
      TVLCheckShare(patient.folder.c_str(), patient.store ? &*patient.store : nullptr,
                    options.dry_run ? TVL_CHECK_LOOK : TVL_CHECK_TRY, AddFinding, &report, &problem);
  if (code == TVL_OK) return;
  Failure failure = SystemFailure(problem.what, problem.error, problem.path);
  if (code == TVL_ERR_CREATE_DIR) failure.exit = kFailed;
  throw Stop({}, failure);
}

void CheckWithPeer(const std::string& folder, const std::string& name, Report& report) {
  TVLStoreProblem problem;
  const int code = TVLCheckShareWithPeer(folder.c_str(), name.c_str(), AddFinding, &report, &problem);
  if (code == TVL_OK) return;
  if (code == TVL_ERR_BAD_PATH) throw Stop(std::string("--peer: ") + problem.what);
  const ExitStatus exit = code == TVL_ERR_NOT_CONNECTED ? kUnreachable : kFailed;
  throw Stop({}, {exit, 0, problem.what, problem.error, problem.path});
}

ExitStatus RunDoctor(const Options& options, Reporter& reporter, const DoctorRequest& request) {
  if (options.dry_run && (request.fix || !request.peer.empty()))
    throw Stop("-n cannot be combined with --fix or --peer, which write");
  const Patient patient = FindPatient(options, request);
  Report report;
  if (!patient.problem.empty())
    report.Add({"configuration", 1, TVL_VERDICT_BAD, patient.problem.c_str(),
                "correct tvl.ini as man tvl.ini describes"});
  if (request.fix && !patient.store) throw Stop("--fix needs a store");
  if (request.fix) Repair(*patient.store, report);
  CheckFolder(options, patient, report);
  if (!request.peer.empty()) CheckWithPeer(patient.folder, request.peer, report);
  return report.Print(reporter, options, reporter.Document().Text("folder", patient.folder), patient.folder,
                      "presence and locks are not reliable here");
}

}  // namespace

void AddDoctorCommand(CLI::App& app, Invocation& invocation) {
  auto request = std::make_shared<DoctorRequest>();
  CLI::App& doctor = AddCommand(app, "doctor", "Check whether a share is safe for a store", "doctor",
                                invocation, [request](const Options& options, Reporter& reporter) {
                                  return RunDoctor(options, reporter, *request);
                                });
  AddText(doctor, "DIR", request->folder, "Folder on the share (default: the store's)", "");
  doctor.add_flag("--fix", request->fix,
                  "Create missing parts of the store, and remove what killed programs left in it");
  AddText(doctor, "--peer", request->peer, "Check this computer against another one", "NAME");
  doctor.footer(
      R"(The checks write to a temporary folder in DIR and remove it at the end. They run
two processes on this computer. With --peer NAME they also run two computers
against each other: start the command with the same NAME on both computers
within five minutes and read both reports. With -n nothing is written, and only
the checks that read are run. Exit 1: presence and locks are not reliable here.

Examples:
  tvl doctor
  tvl doctor /mnt/share
  tvl doctor --peer monday /mnt/share
  tvl doctor --fix)");
}

}  // namespace tvl::cli
