#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <tvlclient/errors.h>

#include "cli/configuration.h"
#include "cli/console.h"
#include "cli/file_access.h"
#include "cli/folder_trail.h"
#include "cli/held_files.h"
#include "cli/interrupt.h"
#include "cli/json.h"
#include "cli/options.h"
#include "cli/own_files.h"
#include "cli/store.h"
#include "cli/text.h"
#include "cli/transfer.h"

namespace tvl::cli {
namespace {

struct TreeRequest {
  std::vector<std::string> names;
  bool recursive = false;
  bool parents = false;
  bool mirror = false;
  bool follow = false;
};

// Nothing local is to be touched, so the store's own folder is used in place, unless the working directory is
// to follow; and then it has to be named, or the current folder would lose whatever is called the same.
std::string WorkingDirectoryOf(const Options& options, const TreeRequest& request) {
  if (!options.tcp.empty()) throw Stop(options.tcp, LibraryFailure(TVL_ERR_NOT_SUPPORTED));
  if (!request.mirror) return {};
  if (!options.work) throw Stop("--mirror wants the working directory named by --work");
  return FindWorkingDirectory(options);
}

Store OpenStore(const Options& options, const TreeRequest& request) {
  CatchInterrupts(options.quiet);
  return {options, WorkingDirectoryOf(options, request),
          options.dry_run ? Store::Use::kLook : Store::Use::kWork};
}

// Words for what a command does to a name.
struct ChangeWords {
  const char* command;
  const char* done;
  const char* would;
  const char* document;
  const char* would_document;
};
constexpr ChangeWords kMade = {"mkdir", "made", "would be made", "made", "would_make"};
constexpr ChangeWords kRemoved = {"rm", "removed", "would be removed", "removed", "would_remove"};
constexpr ChangeWords kMoved = {"mv", "moved to ", "would be moved to ", "moved", "would_move"};

// Does something to one name after the other and reports the result of each.
class TreeChange {
 public:
  TreeChange(const Options& options, const ChangeWords& words) : options_(options), words_(words) {}

  // `change` throws Stop for a name that it can't be done to; the others get their turn all the same.
  template <typename Change>
  void Do(const std::string& name, const std::string& target, Change change) {
    if (Interrupted()) {
      status_ = kInterrupted;
      return;
    }
    try {
      change();
      TellDone(name, target);
    } catch (const Stop& stop) {
      TellFailed(name, stop.Reason());
    }
  }

  [[nodiscard]] ExitStatus Status() const { return status_; }

 private:
  [[nodiscard]] JsonObject Document(const std::string& name, const std::string& result) const {
    JsonObject document;
    return document.Text("command", words_.command).Text("name", name).Text("result", result);
  }

  void TellDone(const std::string& name, const std::string& target) {
    if (options_.json) {
      JsonObject document = Document(name, options_.dry_run ? words_.would_document : words_.document);
      if (!target.empty()) document.Text("target", target);
      console_.Out(document.Line());
    } else if (!options_.quiet) {
      console_.Out(Printable(name + ": " + (options_.dry_run ? words_.would : words_.done) + target));
    }
  }

  void TellFailed(const std::string& name, const Failure& failure) {
    const bool first = status_ == kDone || status_ == failure.exit || failure.exit == kInterrupted;
    status_ = first ? failure.exit : kFailed;
    if (options_.json) {
      JsonObject document = Document(name, "failed");
      AddFailure(failure, document);
      console_.Out(document.Line());
    }
    console_.Err(std::string("tvl: ") + words_.command + " " + Printable(name + ": " + failure.Message()));
  }

  const Options& options_;
  const ChangeWords& words_;
  Console console_;
  ExitStatus status_ = kDone;
};

[[noreturn]] void Refuse(ExitStatus exit, const std::string& what) {
  throw Stop({}, {exit, 0, what, 0, {}});
}

bool IsFolder(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

struct stat StatusOf(const Store& store, const std::string& name) {
  struct stat status = {};
  const std::string path = store.StorePath(name);
  if (lstat(path.c_str(), &status) == 0) return status;
  Failure failure = SystemFailure(MeaningOf(TVL_ERR_SERVER_FILE).what, errno, path);
  failure.code = TVL_ERR_SERVER_FILE;
  throw Stop({}, failure);
}

// Refuses to remove or rename what the store needs, or what somebody uses.
void CheckMayGo(const Store& store, const std::string& name) {
  const std::string path = store.StorePath(name);
  if (!S_ISLNK(StatusOf(store, name).st_mode) && LiesIn(store.StorePath({}), path))
    Refuse(kFailed, "is the store itself, or holds it");
  if (OwnFiles(store).AreIn(path)) Refuse(kSkipped, kOwnFile);
  const std::vector<HeldFile> held = HeldFilesAt(path);
  if (Interrupted()) throw Stop({}, LibraryFailure(TVL_ERR_STOPPED));
  if (!held.empty()) Refuse(kHeld, "is in use: " + DescribeHeldFiles(held));
}

// For a dry run: refuses what would fail with `code` because of the folder that `path` lies in.
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
  struct stat status = {};
  const std::string path = store.StorePath(name);
  if (lstat(path.c_str(), &status) == 0) throw Stop({}, {kFailed, 0, "exists already", 0, path});
  if (OwnFiles(store).Include(path)) Refuse(kSkipped, kOwnFile);
  if (options.dry_run) return CheckFolder(path, TVL_ERR_CREATE_DIR, parents);
  ForgetFileErrors();
  CheckCode(store, store.Client().CreateServerDir(name.data()), {name, name});
}

// The folders of `name` that are not there yet, each below the one before; at least `name` itself.
std::vector<std::string> FoldersToMake(const Store& store, const std::string& name, bool parents) {
  std::vector<std::string> folders;
  for (std::size_t end = name.find('/'); parents && end != std::string::npos; end = name.find('/', end + 1)) {
    if (!IsFolder(store.StorePath(name.substr(0, end)))) folders.push_back(name.substr(0, end));
  }
  if (!parents || !IsFolder(store.StorePath(name))) folders.push_back(name);
  return folders;
}

ExitStatus RunMakeFolder(const Options& options, const TreeRequest& request) {
  Store store = OpenStore(options, request);
  TreeChange change(options, kMade);
  for (const std::string& given : request.names) {
    const std::string name = TidyName(given);
    for (const std::string& folder : FoldersToMake(store, name, request.parents))
      change.Do(folder, {}, [&] { MakeFolder(store, options, folder, request.parents); });
  }
  return change.Status();
}

// --- rm ---

// Names that no path of the library can say stay, and with them the folders that they are in.
std::string NamesLeftIn(const std::string& folder) {
  std::string names;
  std::error_code problem;
  std::filesystem::recursive_directory_iterator entry(folder, problem);
  for (; !problem && entry != std::filesystem::recursive_directory_iterator(); entry.increment(problem)) {
    const std::string name = entry->path().filename().string();
    if (name.find('\\') == std::string::npos) continue;
    names += (names.empty() ? ", a backslash in the name keeps '" : "', '") + name;
  }
  return names.empty() ? names : names + "'";
}

void Remove(Store& store, const Options& options, std::string name, bool recursive) {
  const bool is_folder = S_ISDIR(StatusOf(store, name).st_mode);
  if (is_folder && !recursive) Refuse(kFailed, "is a folder: -r removes trees");
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

ExitStatus RunRemove(const Options& options, const TreeRequest& request) {
  Store store = OpenStore(options, request);
  TreeChange change(options, kRemoved);
  for (const std::string& name : request.names)
    change.Do(name, {}, [&] { Remove(store, options, TidyName(name), request.recursive); });
  return change.Status();
}

// --- mv and cp ---

// Where each name goes: the last one given is the target, a folder if it is one or is to be one.
std::vector<NamePair> PairsOf(const Store& store, const TreeRequest& request) {
  if (request.names.size() < 2) throw Stop("two names are wanted at least: what, and where to");
  const std::string& given = request.names.back();
  const std::string target = TidyName(given);
  const bool into = IsFolder(store.StorePath(target));
  if (!into && (request.names.size() > 2 || Slashed(given).ends_with('/')))
    throw Stop(given, {kNotFound, 0, "is no folder on the store", 0, {}});
  std::vector<NamePair> pairs;
  for (std::size_t at = 0; at + 1 < request.names.size(); ++at) {
    const std::string source = TidyName(request.names[at]);
    const std::string last = source.substr(source.rfind('/') + 1);
    if (into && (last.empty() || last == ".."))
      throw Stop("'" + request.names[at] + "' has no last component to go into a folder with");
    pairs.push_back({source, into ? Joined(target, last) : target});
  }
  return pairs;
}

// A folder that went into itself would have no end, or be cut off from the store.
void CheckNotIntoItself(const Store& store, const NamePair& names) {
  if (!LiesIn(store.StorePath(names.local), store.StorePath(names.remote))) return;
  Refuse(kFailed, "'" + (names.local.empty() ? "." : names.local) + "' is the same, or lies in it");
}

void Move(Store& store, const Options& options, NamePair names) {
  CheckMayGo(store, names.remote);
  struct stat status = {};
  const std::string target = store.StorePath(names.local);
  const bool is_link = S_ISLNK(StatusOf(store, names.remote).st_mode);
  if (!is_link) CheckNotIntoItself(store, names);
  if (lstat(target.c_str(), &status) == 0)
    throw Stop({}, {kFailed, TVL_ERR_SERVER_FILE, "something of the new name is there", EEXIST, target});
  if (OwnFiles(store).Include(target)) Refuse(kSkipped, kOwnFile);
  if (options.dry_run) return CheckFolder(target, TVL_ERR_SERVER_FILE, false);
  ForgetFileErrors();
  CheckCode(store, store.Client().RenameServerFile(names.remote.data(), names.local.data()), names);
}

ExitStatus RunMove(const Options& options, const TreeRequest& request) {
  Store store = OpenStore(options, request);
  TreeChange change(options, kMoved);
  for (const NamePair& pair : PairsOf(store, request))
    change.Do(pair.remote, pair.local, [&] { Move(store, options, pair); });
  return change.Status();
}

ExitStatus RunCopy(const Options& options, const TreeRequest& request) {
  Store store = OpenStore(options, request);
  const std::vector<NamePair> pairs = PairsOf(store, request);
  for (const NamePair& pair : pairs) {
    try {
      CheckNotIntoItself(store, pair);
    } catch (const Stop& stop) {
      throw Stop(pair.remote, stop.Reason());
    }
  }
  return RunCopies(store, options, pairs, request.recursive, request.follow);
}

// --- The command line ---

using TreeRun = ExitStatus (*)(const Options&, const TreeRequest&);

struct TreeCommand {
  const char* name;
  const char* description;
  TreeRun run;
  const char* names_help;
  const char* examples;
};

constexpr TreeCommand kCommands[] = {
    {"mkdir", "Make folders on the store", RunMakeFolder, "Folders on the store",
     "Examples:\n  tvl mkdir docs\n  tvl mkdir -p docs/2024/may"},
    {"rm", "Remove files or trees of the store", RunRemove, "Names on the store",
     R"(Nothing local is touched, unless the working directory is to follow by --mirror. A
tree in which somebody is at work stays whole: exit 4 tells what stands in the way.

Examples:
  tvl rm docs/a.doc
  tvl rm -r docs/old
  tvl -n rm -r docs/old                   what would go
  tvl --work desk rm -r docs --mirror     also in the working directory "desk")"},
    {"mv", "Move or rename files and folders of the store", RunMove,
     "OLD NEW, or names and the folder that they go into",
     R"(Nothing is replaced: a name that is taken stays as it is. Nothing local is touched,
unless the working directory is to follow by --mirror.

Examples:
  tvl mv docs/a.doc docs/b.doc
  tvl mv docs/a.doc docs/b.doc archive    into the folder archive)"},
    {"cp", "Copy files or trees within the store", RunCopy,
     "SOURCE TARGET, or names and the folder that they go into",
     R"(Files of the same name are replaced. Missing folders are made. Nothing local is touched.

Examples:
  tvl cp docs/a.doc archive/a.doc
  tvl cp -r docs archive/docs)"},
};

void AddTreeCommand(const TreeCommand& about, CLI::App& app, Invocation& invocation) {
  auto request = std::make_shared<TreeRequest>();
  CLI::App& command = AddCommand(
      app, about.name, about.description, about.name, invocation,
      [run = about.run, request, &options = invocation.options] { return run(options, *request); });
  AddNames(command, request->names, about.names_help, "NAME");
  if (about.run == RunMakeFolder)
    command.add_flag("-p,--parents", request->parents,
                     "Make the folders above too; one that is there is fine");
  if (about.run == RunRemove || about.run == RunCopy)
    command.add_flag("-r,--recursive", request->recursive, "Take whole trees");
  if (about.run == RunCopy)
    command.add_flag("--follow", request->follow, "Write through links that lead out of the store");
  else
    command.add_flag("--mirror", request->mirror, "Do the same in the working directory of --work");
  command.footer(about.examples);
}

}  // namespace

void AddTreeCommands(CLI::App& app, Invocation& invocation) {
  for (const TreeCommand& command : kCommands) AddTreeCommand(command, app, invocation);
}

}  // namespace tvl::cli
