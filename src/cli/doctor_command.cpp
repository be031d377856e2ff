#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <tvlclient/errors.h>
#include <tvlclient/smb_opr.h>

#include "cli/configuration.h"
#include "cli/doctor/checks.h"
#include "cli/doctor/peer_checks.h"
#include "cli/doctor/report.h"
#include "cli/options.h"
#include "cli/text.h"

namespace tvl::cli {
namespace {

namespace fs = std::filesystem;

struct DoctorRequest {
  std::string folder;
  std::string peer;
  bool fix = false;
};

// What is examined: a folder, and the store in it if there is one.
struct Patient {
  std::string folder;
  std::optional<StoreLayout> store;
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
    if (!options.tcp.empty()) throw Stop("doctor needs a folder, or the configuration of a directory store");
    patient.store = LayoutOf(FindConfiguration(options));
    patient.folder = patient.store->root;
  } else if (fs::exists(Joined(request.folder, "tvl.ini"))) {
    FindStore(Joined(request.folder, "tvl.ini"), patient);
  }
  return patient;
}

// Creates what the store lacks and removes what killed transfers left.
Finding Repair(const StoreLayout& store) {
  const std::size_t missing = MissingParts(store).size();
  CreateMissingParts(store, {});
  std::size_t removed = 0;
  CTVLClientSmbOpr remover;
  for (std::string part : DeadParts(store)) {
    if (remover.RemoveDosDir(part.data(), nullptr, nullptr) == TVL_OK) ++removed;
  }
  return Good("created " + Counted(missing, "part") + " of the store, removed " +
              Counted(removed, "leftover"));
}

void CheckFolder(const std::string& folder) {
  struct stat status = {};
  if (stat(folder.c_str(), &status) != 0) throw Stop({}, SystemFailure("no such folder", errno, folder));
  if (!S_ISDIR(status.st_mode)) throw Stop({}, {kFailed, 0, "is not a folder", 0, folder});
}

// The library reaches only paths of 259 bytes without backslashes, so the checks could not work on others.
Finding CheckPath(const Patient& patient, const std::string& folder) {
  constexpr std::size_t kLongestPath = 259;
  const std::size_t marker = Joined(folder, "tmp/procs/").size() + kLongestMarkerName;
  if (folder.find('\\') != std::string::npos)
    return Bad("contains a backslash, which a store takes for a separator", "rename the folder");
  if (folder.size() > Scratch::kLongestFolder || (!patient.store && marker > kLongestPath))
    return Bad(std::to_string(folder.size()) + " bytes are too long for a store", "use a shorter path");
  return Good(folder);
}

template <typename Subject>
void RunChecks(const std::vector<Check<Subject>>& checks, const Subject& subject, Report& report) {
  for (const Check<Subject>& check : checks) report.Add(check.name, check.needed, check.run(subject));
}

ExitStatus RunDoctor(const Options& options, const DoctorRequest& request) {
  if (options.dry_run && (request.fix || !request.peer.empty()))
    throw Stop("--fix and --peer write, so they exclude -n");
  const Patient patient = FindPatient(options, request);
  Report report;
  if (!patient.problem.empty()) report.Add("configuration", true, Bad(patient.problem, "correct tvl.ini"));
  if (request.fix && !patient.store) throw Stop("--fix needs a store");
  if (request.fix) report.Add("repair", false, Repair(*patient.store));
  CheckFolder(patient.folder);
  const std::string folder = fs::canonical(patient.folder).string();
  const Finding path = CheckPath(patient, folder);
  report.Add("path", true, path);
  if (!options.dry_run && path.verdict == Verdict::kOk) {
    const Scratch scratch(folder);
    RunChecks(ScratchChecks(), scratch, report);
  }
  RunChecks(FolderChecks(), folder, report);
  if (patient.store) RunChecks(StoreChecks(), *patient.store, report);
  if (!request.peer.empty()) RunPeerChecks(folder, request.peer, report);
  return report.Print(options, patient.folder);
}

}  // namespace

void AddDoctorCommand(CLI::App& app, Invocation& invocation) {
  auto request = std::make_shared<DoctorRequest>();
  CLI::App& doctor =
      AddCommand(app, "doctor", "Test whether a share can be trusted with a store", "doctor", invocation,
                 [request, &options = invocation.options] { return RunDoctor(options, *request); });
  AddText(doctor, "DIR", request->folder, "Folder on the share (default: the store's)", "");
  doctor.add_flag("--fix", request->fix, "Create what the store lacks, remove what killed transfers left");
  AddText(doctor, "--peer", request->peer, "Test against the same command on another computer", "NAME");
  doctor.footer(
      R"(Works in a folder of its own in DIR, which is removed at the end. Two processes of this computer
are tried against each other; with --peer NAME two computers are: run the command with the same NAME
on both within five minutes, and read what each reports. Exit 1: something that presence and locks
need is missing. With -n only what can be seen without writing.

Examples:
  tvl doctor
  tvl doctor /mnt/share
  tvl doctor --peer monday /mnt/share
  tvl doctor --fix)");
}

}  // namespace tvl::cli
