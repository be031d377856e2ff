#include "cli/names.h"

#include <set>

#include "cli/failure.h"
#include "cli/text.h"

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

// `name` without empty and "." components, and relative.
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

// The part of the full path `name` behind the folder; false if it lies elsewhere.
bool TakeFolderOff(const std::string& folder, std::string& name) {
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

// The name that a thing has on the other side when the user gave none.
std::string SameName(Direction direction, std::string name, const std::string& working_directory) {
  if (HasUpwardStep(name))
    throw Stop("'" + name + "' leads upward: give the name for the other side too, or -t DIR");
  const bool absolute_local = direction == Direction::kPut && !name.empty() && name.front() == '/';
  if (absolute_local && !TakeFolderOff(working_directory, name))
    throw Stop("'" + name +
               "' lies outside the working directory: give its name on the store too, or -t DIR");
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
    if (last == "..") throw Stop("'" + name + "' has no last component to go into a folder with");
    const std::string target = Joined(to, last);
    if (!targets.insert(target).second) throw Stop("two names would become '" + target + "'");
    pairs.push_back(Pair(direction, name, target));
  }
  return pairs;
}

}  // namespace

std::string TidyName(std::string_view name) {
  return Tidy(Slashed(name));
}

std::vector<NamePair> PairNames(Direction direction, const std::vector<std::string>& names,
                                const std::string& to, const std::string& working_directory) {
  std::vector<std::string> sources;
  sources.reserve(names.size());
  for (const std::string& name : names) sources.push_back(Slashed(name));
  if (!to.empty()) return PairInto(direction, sources, Slashed(to));
  if (sources.size() == 2) return {Pair(direction, sources[0], sources[1])};
  std::vector<NamePair> pairs;
  for (const std::string& source : sources) {
    const std::string name = SameName(direction, source, working_directory);
    pairs.push_back({name, name});
  }
  return pairs;
}

}  // namespace tvl::cli
