#include <CLI/CLI.hpp>
#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include <tvlclient/errors.h>

#include "cli/command_line.h"
#include "cli/configuration.h"
#include "cli/file_access.h"
#include "cli/file_status.h"
#include "cli/folder_trail.h"
#include "cli/held_files.h"
#include "cli/interrupt.h"
#include "cli/output/reporter.h"
#include "cli/output/text.h"
#include "cli/own_files.h"
#include "cli/store.h"
#include "cli/transfer/transfer.h"

namespace tvl::cli {
namespace {

struct TreeRequest {
  std::vector<std::string> names;
  bool recursive = false;
  bool parents = false;
  bool mirror = false;
  bool follow = false;
};

// Uses the store's own folder in place, so that no local file is touched, unless --mirror applies the change
// to the working directory too. Then --work must name it, or files of the same names in the current folder
// would be lost.
std::string WorkingDirectoryOf(const Options& options, const TreeRequest& request) {
  if (!options.tcp.empty()) throw Stop(options.tcp, LibraryFailure(TVL_ERR_NOT_SUPPORTED));
  if (!request.mirror) return {};
  if (!options.work) throw Stop("--mirror needs the working directory in --work");
  return FindWorkingDirectory(options);
}

Store OpenStore(const Options& options, const TreeRequest& request) {
  CatchInterrupts(options.quiet);
  return {options, WorkingDirectoryOf(options, request), UseOf(options)};
}

// Words for what a command does to a name.
struct ChangeWords {
  const char* done;
  const char* would;
  const char* document;
  const char* would_document;
};
constexpr ChangeWords kMade = {"created", "would be created", "made", "would_make"};
constexpr ChangeWords kRemoved = {"removed", "would be removed", "removed", "would_remove"};
constexpr ChangeWords kMoved = {"moved to ", "would be moved to ", "moved", "would_move"};

// Applies a change to one name after another and reports each result.
class TreeChange {
 public:
  TreeChange(const Options& options, Reporter& reporter, const ChangeWords& words)
      : options_(options), reporter_(reporter), words_(words) {}

  // `change` throws Stop if it fails for a name. The remaining names are still processed.
  template <typename Change>
  void Do(const std::string& name, const std::string& target, Change change) {
    if (Interrupted()) {
      interrupted_ = true;
      return;
    }
    try {
      change();
      ReportDone(name, target);
    } catch (const Stop& stop) {
      reporter_.Fail(name, stop.Reason());
    }
  }

  [[nodiscard]] ExitStatus Status() const { return interrupted_ ? kInterrupted : reporter_.Exit(); }

 private:
  void ReportDone(const std::string& name, const std::string& target) {
    if (reporter_.PrintsJson()) {
      JsonObject document = reporter_.Document().Text("name", name);
      document.Text("result", options_.dry_run ? words_.would_document : words_.document);
      if (!target.empty()) document.Text("target", target);
      reporter_.Print(document);
    } else {
      reporter_.PrintDone(name + ": " + (options_.dry_run ? words_.would : words_.done) + target);
    }
  }

  const Options& options_;
  Reporter& reporter_;
  const ChangeWords& words_;
  bool interrupted_ = false;  // before the last name
};

[[noreturn]] void Refuse(ExitStatus exit, const std::string& what, const std::string& hint = {}) {
  throw Stop({}, {exit, 0, what, 0, {}, hint});
}

FileStatus StatusIn(const Store& store, const std::string& name) {
  const std::string path = store.StorePath(name);
  if (const auto status = LinkStatusOf(path)) return *status;
  Failure failure = SystemFailure(MeaningOf(TVL_ERR_SERVER_FILE).what, errno, path);
  failure.code = TVL_ERR_SERVER_FILE;
  throw Stop({}, failure);
}

// Refuses to remove or rename files that the store needs or that are in use.
void CheckMayGo(const Store& store, const std::string& name) {
  const std::string path = store.StorePath(name);
  if (!StatusIn(store, name).IsLink() && LiesIn(store.StorePath({}), path))
    Refuse(kFailed, "is the store itself or contains it");
  if (OwnFiles(store).AreIn(path)) Refuse(kSkipped, kOwnFile);
  const std::vector<HeldFile> held = HeldFilesAt(path);
  if (Interrupted()) throw Stop({}, LibraryFailure(TVL_ERR_STOPPED));
  if (!held.empty()) Refuse(kHeld, "is in use: " + DescribeHeldFiles(held));
}

// For a dry run: throws Stop if the change would fail with `code` because of the folder of `path`.
void CheckFolder(const std::string& path, int code, bool makes_folders) {
  const int problem = FolderProblem(path, makes_folders);
  if (problem == 0) return;
  Failure failure = SystemFailure(MeaningOf(code).what, problem, path);
  failure.code = code;
  throw Stop({}, failure);
}

void CheckCode(const Store& store, int code, const NamePair& names) {
  if (code != TVL_OK) throw Stop({}, store.Explain(code, names));
}

// --- mkdir ---

void MakeFolder(Store& store, const Options& options, std::string name, bool parents) {
  const std::string path = store.StorePath(name);
  if (Exists(path)) throw Stop({}, {kFailed, 0, "already exists", 0, path});
  if (OwnFiles(store).Include(path)) Refuse(kSkipped, kOwnFile);
  if (options.dry_run) return CheckFolder(path, TVL_ERR_CREATE_DIR, parents);
  ForgetFileErrors();
  CheckCode(store, store.Client().CreateServerDir(name.data()), {name, name});
}

// Returns the missing folders of `name` from the outermost to the innermost; at least `name` itself.
std::vector<std::string> FoldersToMake(const Store& store, const std::string& name, bool parents) {
  std::vector<std::string> folders;
  for (std::size_t end = name.find('/'); parents && end != std::string::npos; end = name.find('/', end + 1)) {
    if (!IsFolder(store.StorePath(name.substr(0, end)))) folders.push_back(name.substr(0, end));
  }
  if (!parents || !IsFolder(store.StorePath(name))) folders.push_back(name);
  return folders;
}

ExitStatus RunMakeFolder(const Options& options, Reporter& reporter, const TreeRequest& request) {
  Store store = OpenStore(options, request);
  TreeChange change(options, reporter, kMade);
  for (const std::string& given : request.names) {
    const std::string name = TidyName(given);
    for (const std::string& folder : FoldersToMake(store, name, request.parents))
      change.Do(folder, {}, [&] { MakeFolder(store, options, folder, request.parents); });
  }
  return change.Status();
}

// --- rm ---

// Adds the names in and below `folder` that contain a backslash. The library cannot remove them, nor their
// folders.
void AddNamesLeft(const std::string& folder, std::string& list) {
  std::vector<std::string> names;
  static_cast<void>(ListNames(folder, names));
  for (const std::string& name : names) {
    const std::string path = Joined(folder, name);
    if (name.find('\\') != std::string::npos)
      list += (list.empty() ? ": names with a backslash cannot be removed: '" : "', '") + name;
    if (const auto status = LinkStatusOf(path); status && status->IsFolder()) AddNamesLeft(path, list);
  }
}

std::string NamesLeftIn(const std::string& folder) {
  std::string list;
  AddNamesLeft(folder, list);
  return list.empty() ? list : list + "'";
}

void Remove(Store& store, const Options& options, std::string name, bool recursive) {
  const bool is_folder = StatusIn(store, name).IsFolder();
  if (is_folder && !recursive) Refuse(kFailed, "is a folder", "use -r to remove a whole tree");
  CheckMayGo(store, name);
  if (options.dry_run)
    return CheckFolder(store.StorePath(name), is_folder ? TVL_ERR_DELETE_DIR : TVL_ERR_SERVER_FILE, false);
  ForgetFileErrors();
  const int code =
      is_folder ? store.Client().DeleteServerDir(name.data()) : store.Client().DeleteServerFile(name.data());
  if (code == TVL_OK) return;
  Failure failure = store.Explain(code, {name, name});
  if (failure.error == ENOTEMPTY) failure.what += NamesLeftIn(store.StorePath(name));
  throw Stop({}, failure);
}

ExitStatus RunRemove(const Options& options, Reporter& reporter, const TreeRequest& request) {
  Store store = OpenStore(options, request);
  TreeChange change(options, reporter, kRemoved);
  for (const std::string& name : request.names)
    change.Do(name, {}, [&] { Remove(store, options, TidyName(name), request.recursive); });
  return change.Status();
}

// --- mv and cp ---

// Pairs each source with its target. The last name is the target; if it is a folder, the sources go into it.
std::vector<NamePair> PairsOf(const Store& store, const TreeRequest& request) {
  if (request.names.size() < 2) throw Stop("at least two names are needed: source and target");
  const std::string& given = request.names.back();
  const std::string target = TidyName(given);
  const bool into = IsFolder(store.StorePath(target));
  if (!into && (request.names.size() > 2 || Slashed(given).ends_with('/')))
    throw Stop(given, {kNotFound, 0, "is not a folder in the store", 0, {}});
  std::vector<NamePair> pairs;
  for (std::size_t at = 0; at + 1 < request.names.size(); ++at) {
    const std::string source = TidyName(request.names[at]);
    const std::string last = source.substr(source.rfind('/') + 1);
    if (into && (last.empty() || last == ".."))
      throw Stop("'" + request.names[at] + "' has no last component to use as a name in a folder");
    pairs.push_back({source, into ? Joined(target, last) : target});
  }
  return pairs;
}

// A folder copied into itself would never end, and one moved into itself would be lost.
void CheckNotIntoItself(const Store& store, const NamePair& names) {
  if (!LiesIn(store.StorePath(names.local), store.StorePath(names.remote))) return;
  Refuse(kFailed, "the target '" + (names.local.empty() ? "." : names.local) + "' is the same or inside it");
}

void Move(Store& store, const Options& options, NamePair names) {
  CheckMayGo(store, names.remote);
  const std::string target = store.StorePath(names.local);
  const bool is_link = StatusIn(store, names.remote).IsLink();
  if (!is_link) CheckNotIntoItself(store, names);
  if (Exists(target))
    throw Stop({}, {kFailed, TVL_ERR_SERVER_FILE, "the new name already exists", EEXIST, target});
  if (OwnFiles(store).Include(target)) Refuse(kSkipped, kOwnFile);
  if (options.dry_run) return CheckFolder(target, TVL_ERR_SERVER_FILE, false);
  ForgetFileErrors();
  CheckCode(store, store.Client().RenameServerFile(names.remote.data(), names.local.data()), names);
}

ExitStatus RunMove(const Options& options, Reporter& reporter, const TreeRequest& request) {
  Store store = OpenStore(options, request);
  TreeChange change(options, reporter, kMoved);
  for (const NamePair& pair : PairsOf(store, request))
    change.Do(pair.remote, pair.local, [&] { Move(store, options, pair); });
  return change.Status();
}

ExitStatus RunCopy(const Options& options, Reporter& reporter, const TreeRequest& request) {
  Store store = OpenStore(options, request);
  const std::vector<NamePair> pairs = PairsOf(store, request);
  for (const NamePair& pair : pairs) {
    try {
      CheckNotIntoItself(store, pair);
    } catch (const Stop& stop) {
      throw Stop(pair.remote, stop.Reason());
    }
  }
  return RunCopies(store, options, reporter, pairs, request.recursive, request.follow);
}

// --- Command line ---

using TreeRun = ExitStatus (*)(const Options&, Reporter&, const TreeRequest&);

struct TreeCommand {
  const char* name;
  const char* description;
  TreeRun run;
  const char* names_help;
  const char* examples;
};

constexpr TreeCommand kCommands[] = {
    {"mkdir", "Create folders in the store", RunMakeFolder, "Folders in the store",
     "Examples:\n  tvl mkdir docs\n  tvl mkdir -p docs/2024/may"},
    {"rm", "Remove files or trees from the store", RunRemove, "Names in the store",
     R"(Local files are not touched, except with --mirror. A tree with files in use is
not removed at all (exit 4).

Examples:
  tvl rm docs/a.doc
  tvl rm -r docs/old
  tvl -n rm -r docs/old                   show what would be removed
  tvl --work desk rm -r docs --mirror     also in the working directory "desk")"},
    {"mv", "Move or rename files and folders of the store", RunMove,
     "OLD NEW, or several names and a target folder",
     R"(Never replaces an existing file or folder. Local files are not touched, except
with --mirror.

Examples:
  tvl mv docs/a.doc docs/b.doc
  tvl mv docs/a.doc docs/b.doc archive    into the folder archive)"},
    {"cp", "Copy files or trees within the store", RunCopy,
     "SOURCE TARGET, or several names and a target folder",
     R"(Replaces files of the same name and creates missing folders. Local files are not
touched.

Examples:
  tvl cp docs/a.doc archive/a.doc
  tvl cp -r docs archive/docs)"},
};

void AddTreeCommand(const TreeCommand& about, CLI::App& app, Invocation& invocation) {
  auto request = std::make_shared<TreeRequest>();
  CLI::App& command = AddCommand(app, about, about.name, invocation, request);
  AddNames(command, request->names, about.names_help, "NAME");
  if (about.run == RunMakeFolder)
    command.add_flag("-p,--parents", request->parents,
                     "Create missing parents too, and accept existing folders");
  if (about.run == RunRemove || about.run == RunCopy)
    command.add_flag("-r,--recursive", request->recursive, "Process whole trees");
  if (about.run == RunCopy)
    command.add_flag("--follow", request->follow, "Write through links that lead out of the store");
  else
    command.add_flag("--mirror", request->mirror, "Apply the change to the working directory of --work too");
  command.footer(about.examples);
}

}  // namespace

void AddTreeCommands(CLI::App& app, Invocation& invocation) {
  for (const TreeCommand& command : kCommands) AddTreeCommand(command, app, invocation);
}

}  // namespace tvl::cli
