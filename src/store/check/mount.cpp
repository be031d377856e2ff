#include "store/check/mount.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string_view>

namespace tvl {
namespace {

using std::string_view;

constexpr char kLocal[] = "locks stay on this computer";
constexpr char kStale[] = "this computer may read old contents that another computer has replaced";

// A type that ends in "*" matches all types with that prefix. A rule without an option applies to the whole
// type. A rule whose option begins with "!" applies if the option is missing: SMB mounts list "serverino",
// but never "noserverino".
struct MountRule {
  string_view type;
  string_view option;
  TVL_VERDICT verdict;
  const char* detail;
  const char* remedy;
};

constexpr MountRule kRules[] = {
    {"nfs*", "nolock", TVL_VERDICT_BAD, kLocal, "mount the share without the option nolock"},
    {"nfs*", "local_lock=all", TVL_VERDICT_BAD, kLocal, "mount the share with the option local_lock=none"},
    {"nfs*", "local_lock=posix", TVL_VERDICT_BAD, kLocal, "mount the share with the option local_lock=none"},
    {"nfs*", "soft", TVL_VERDICT_WARNING, "a slow server makes reads and writes fail",
     "mount the share with the option hard"},
    {"nfs*", "softerr", TVL_VERDICT_WARNING, "a slow server makes reads and writes fail",
     "mount the share with the option hard"},
    {"nfs*", "nocto", TVL_VERDICT_WARNING, kStale, "mount the share without the option nocto"},
    {"cifs", "nobrl", TVL_VERDICT_BAD, kLocal, "mount the share without the option nobrl"},
    {"cifs", "nolock", TVL_VERDICT_BAD, kLocal, "mount the share without the option nolock"},
    {"cifs", "cache=loose", TVL_VERDICT_BAD, kStale, "mount the share with the option cache=strict"},
    {"cifs", "cache=singleclient", TVL_VERDICT_BAD, kStale, "mount the share with the option cache=strict"},
    {"cifs", "cache=ro", TVL_VERDICT_BAD, kStale, "mount the share with the option cache=strict"},
    {"cifs", "!serverino", TVL_VERDICT_WARNING, "a file that was replaced may not be noticed",
     "mount the share with the option serverino"},
    {"smb3", "nobrl", TVL_VERDICT_BAD, kLocal, "mount the share without the option nobrl"},
    {"smb3", "nolock", TVL_VERDICT_BAD, kLocal, "mount the share without the option nolock"},
    {"smb3", "cache=loose", TVL_VERDICT_BAD, kStale, "mount the share with the option cache=strict"},
    {"smb3", "!serverino", TVL_VERDICT_WARNING, "a file that was replaced may not be noticed",
     "mount the share with the option serverino"},
    {"ocfs2", "localflocks", TVL_VERDICT_BAD, kLocal, "mount the share without the option localflocks"},
    {"gfs2", "localflocks", TVL_VERDICT_BAD, kLocal, "mount the share without the option localflocks"},
    {"lustre", "localflock", TVL_VERDICT_BAD, kLocal, "mount the share with the option flock"},
    {"lustre", "noflock", TVL_VERDICT_BAD, "there are no locks", "mount the share with the option flock"},
    {"vboxsf", "", TVL_VERDICT_BAD, kLocal, "put the store on NFS or SMB"},
    {"9p", "", TVL_VERDICT_WARNING, "locks may stay on this computer",
     "run 'tvl doctor --peer NAME' on two computers, or put the store on NFS or SMB"},
    {"fuse.sshfs", "", TVL_VERDICT_BAD, kLocal, "put the store on NFS or SMB"},
    {"fuse.rclone", "", TVL_VERDICT_BAD, kLocal, "put the store on NFS or SMB"},
    {"fuse.s3fs", "", TVL_VERDICT_BAD, kLocal, "put the store on NFS or SMB"},
    {"fuse.gcsfuse", "", TVL_VERDICT_BAD, kLocal, "put the store on NFS or SMB"},
    {"fuse.glusterfs", "", TVL_VERDICT_OK, "", ""},
    {"fuse.ceph*", "", TVL_VERDICT_OK, "", ""},
    {"fuse*", "", TVL_VERDICT_WARNING, "locks may stay on this computer",
     "run 'tvl doctor --peer NAME' on two computers"},
};

// Options that set how long file attributes are cached.
constexpr string_view kCacheTimes[] = {"actimeo=", "acregmin=", "acdirmin="};
constexpr unsigned int kLongestCacheTime = 60;

constexpr string_view kUnstable[] = {"vfat", "exfat", "msdos", "vboxsf"};
constexpr string_view kStableFuse[] = {"fuse.glusterfs", "fuse.ceph", "fuse.ceph-fuse"};

template <typename Names>
bool IsAmong(const Names& names, string_view name) {
  return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

bool SameText(string_view a, string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

bool IsOfType(string_view type, string_view wanted) {
  if (!wanted.ends_with('*')) return type == wanted;
  wanted.remove_suffix(1);
  return type.starts_with(wanted);
}

// Calls `visit` for each option until it returns true, and returns whether it did.
template <typename Visit>
bool AnyOption(string_view options, Visit visit) {
  while (!options.empty()) {
    const std::size_t end = options.find(',');
    if (visit(options.substr(0, end))) return true;
    options.remove_prefix(end == string_view::npos ? options.size() : end + 1);
  }
  return false;
}

bool Applies(const MountRule& rule, const Mount& mount) {
  if (!IsOfType(mount.type, rule.type)) return false;
  if (rule.option.empty()) return true;
  const bool is_missing = rule.option.starts_with('!');
  const string_view wanted = rule.option.substr(is_missing ? 1 : 0);
  return AnyOption(mount.options, [wanted](string_view option) { return SameText(option, wanted); }) !=
         is_missing;
}

bool HasLongCacheTime(const Mount& mount) {
  return AnyOption(mount.options, [](string_view option) {
    for (const string_view name : kCacheTimes) {
      if (!option.starts_with(name)) continue;
      unsigned int seconds = 0;
      std::from_chars(option.data() + name.size(), option.data() + option.size(), seconds);
      if (seconds > kLongestCacheTime) return true;
    }
    return false;
  });
}

// Replaces the octal escapes in a path of /proc/self/mountinfo.
std::string Unescaped(string_view text) {
  std::string path;
  while (!text.empty()) {
    unsigned int code = 0;
    const bool escape = text.front() == '\\' && text.size() >= 4 &&
                        std::from_chars(text.data() + 1, text.data() + 4, code, 8).ptr == text.data() + 4;
    path += escape ? static_cast<char>(code) : text.front();
    text.remove_prefix(escape ? 4 : 1);
  }
  return path;
}

bool Contains(const std::string& place, const std::string& folder) {
  return place == "/" || folder == place || folder.starts_with(place + "/");
}

}  // namespace

std::optional<Mount> FindMount(std::istream& mounts, const std::string& folder) {
  std::optional<Mount> found;
  for (std::string line; std::getline(mounts, line);) {
    std::istringstream words(line);
    std::string id, parent, device, root, place, options, optional, type, source, super_options;
    words >> id >> parent >> device >> root >> place >> options;
    while (words >> optional && optional != "-") {
    }
    if (!(words >> type >> source >> super_options)) continue;
    place = Unescaped(place);
    if (!Contains(place, folder) || (found && place.size() < found->place.size())) continue;
    found = Mount{place, type, options + "," + super_options};
  }
  return found;
}

std::optional<Mount> MountOf(const std::string& folder) {
  std::ifstream mounts("/proc/self/mountinfo");
  return FindMount(mounts, folder);
}

// On SMB, the numbers are the server's only with an option.
bool HasStableInodes(const Mount& mount) {
  if (mount.type == "cifs" || mount.type == "smb3")
    return AnyOption(mount.options, [](string_view option) { return option == "serverino"; });
  return IsAmong(kStableFuse, mount.type) ||
         (!mount.type.starts_with("fuse") && !IsAmong(kUnstable, mount.type));
}

bool CanHaveTableFiles(const Mount& mount) {
  return mount.type != "fuse.glusterfs";
}

Finding JudgeMount(const Mount& mount) {
  const std::string name = mount.type + " at " + mount.place + " (" + mount.options + ")";
  Finding worst = Good(name);
  for (const MountRule& rule : kRules) {
    if (!Applies(rule, mount)) continue;
    if (rule.verdict > worst.verdict) worst = {rule.verdict, name + ": " + rule.detail, rule.remedy};
    if (rule.option.empty()) break;  // the first rule for the whole type decides
  }
  if (worst.verdict == TVL_VERDICT_OK && HasLongCacheTime(mount))
    return Warn(name + ": changes by other computers are seen late",
                "mount the share with a time of 60 s or less");
  return worst;
}

}  // namespace tvl
