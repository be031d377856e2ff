#include "cli/names.h"

#include <set>

#include "cli/host_path.h"
#include "cli/output/failure.h"
#include "cli/output/text.h"

namespace tvl::cli {
namespace {

bool HasUpwardStep(std::string_view name) {
  while (!name.empty()) {
    const std::size_t end = name.find('/');
    if (name.substr(0, end) == "..") return true;
    name.remove_prefix(end == std::string_view::npos ? name.size() : end + 1);
  }
  return false;
}

// Removes empty and "." components and leading separators from `name`.
std::string Tidy(std::string_view name) {
  std::string tidy;
  while (!name.empty()) {
    const std::size_t end = name.find('/');
    const std::string_view component = name.substr(0, end);
    if (!component.empty() && component != ".") tidy = Joined(tidy, component);
    name.remove_prefix(end == std::string_view::npos ? name.size() : end + 1);
  }
  return tidy;
}

std::string LastComponent(const std::string& name) {
  const std::string tidy = Tidy(name);
  return tidy.substr(tidy.rfind('/') + 1);  // npos + 1 is 0: the whole name
}

// Reduces the full path `name` to the part below `folder`. Returns false if it is not inside `folder`.
bool RemoveFolder(const std::string& folder, std::string& name) {
  const std::string inside = Tidy(folder);
  const std::string path = Tidy(name);
  if (path == inside) {
    name.clear();
    return true;
  }
  if (!inside.empty() && path.rfind(inside + "/", 0) != 0) return false;
  name = path.substr(inside.empty() ? 0 : inside.size() + 1);
  return true;
}

// Returns the default name on the other side.
std::string SameName(Direction direction, std::string name, const std::string& working_directory) {
  if (HasUpwardStep(name))
    throw Stop("'" + name + "' contains '..'", "name the other side with --as NAME or -t DIR");
  const bool absolute_local = direction == Direction::kPut && IsFullPath(name);
  if (absolute_local && !RemoveFolder(working_directory, name))
    throw Stop("'" + name + "' is outside the working directory",
               "give a name in the store with --as NAME or -t DIR");
  return Tidy(name);
}

NamePair Pair(Direction direction, const std::string& source, const std::string& target) {
  return direction == Direction::kGet ? NamePair{source, target} : NamePair{target, source};
}

std::vector<NamePair> PairInto(Direction direction, const std::vector<std::string>& names,
                               const std::string& to) {
  std::vector<NamePair> pairs;
  std::set<std::string> targets;
  for (const std::string& name : names) {
    const std::string last = LastComponent(name);
    if (last == "..") throw Stop("'" + name + "' has no last component to use in a folder");
    const std::string target = Joined(to, last);
    if (!targets.insert(target).second) throw Stop("two names would both become '" + target + "'");
    pairs.push_back(Pair(direction, name, target));
  }
  return pairs;
}

}  // namespace

std::string TidyName(std::string_view name) {
  return Tidy(Slashed(name));
}

std::vector<NamePair> PairNames(Direction direction, const std::vector<std::string>& names,
                                const OtherSide& other, const std::string& working_directory) {
  std::vector<std::string> sources;
  sources.reserve(names.size());
  for (const std::string& name : names) sources.push_back(Slashed(name));
  if (!other.folder.empty()) return PairInto(direction, sources, Slashed(other.folder));
  if (!other.name.empty()) {
    if (sources.size() > 1) throw Stop("--as works with one name only", "use -t DIR for several");
    return {Pair(direction, sources.front(), Slashed(other.name))};
  }
  std::vector<NamePair> pairs;
  std::set<std::string> targets;
  for (const std::string& source : sources) {
    const std::string name = SameName(direction, source, working_directory);
    if (targets.insert(name).second) pairs.push_back({name, name});
  }
  return pairs;
}

}  // namespace tvl::cli
