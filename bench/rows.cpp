#include "rows.h"

#include "transfer/zlib_file.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

Command TvlCommand(const Setting& setting, const std::string& config, const fs::path& work, const char* verb,
                   const Command& words) {
  Command command = {setting.tvl, "-q", "--config", config, "--work", work.string(), verb};
  command.insert(command.end(), words.begin(), words.end());
  return command;
}

// Adds rows for one task: the first contender compared with each of the others.
void AddTimes(const std::string& work, const std::vector<Contender>& contenders,
              const std::vector<Usage>& usages, const std::vector<double>& aims, std::vector<Row>& rows) {
  for (std::size_t i = 1; i < contenders.size(); ++i) {
    rows.push_back({work, usages[0].seconds, contenders[i].name, usages[i].seconds, "s", aims[i - 1]});
  }
}

}  // namespace

Command Setting::Get(const char* policy, bool packed, const Command& words) const {
  return TvlCommand(*this, scratch.Config(scratch.Source(), policy, packed), scratch.Ours(), "get", words);
}

Command Setting::Put(const char* policy, const Command& words, int safety) const {
  return TvlCommand(*this, scratch.Config(scratch.Ours(), policy, false, safety), scratch.Source(), "put",
                    words);
}

std::vector<Row> HashRows(const Setting& setting) {
  const std::string big = (setting.scratch.Source() / setting.scratch.Big()).string();
  const std::vector<Contender> contenders = {{"tvl", {setting.tvl, "hash", big}},
                                             {"sha1sum", {"sha1sum", big}},
                                             {"openssl dgst -sha1", {"openssl", "dgst", "-sha1", big}}};
  setting.scratch.Sync();
  const std::vector<Usage> usages = Alternate(contenders, setting.runs, [] {});
  std::vector<Row> rows;
  AddTimes("SHA-1 of 1 GiB", contenders, usages, {1 / 2.0, 1 / 0.9}, rows);
  return rows;
}

std::vector<Row> BigFileRows(const Setting& setting) {
  Scratch& scratch = setting.scratch;
  const std::string big = scratch.Big();
  const Command copy = {"cp", (scratch.Source() / big).string(), (scratch.Theirs() / big).string()};
  const auto prepare = [&] {
    scratch.EmptyTargets();
    scratch.Sync();
  };
  std::vector<Row> rows;
  const std::vector<Contender> gets = {{"tvl", setting.Get("time", false, {big})}, {"cp", copy}};
  const std::vector<Usage> get_usages = Alternate(gets, setting.runs, prepare);
  AddTimes("get of 1 GiB", gets, get_usages, {1.1}, rows);
  const std::vector<Contender> puts = {{"tvl", setting.Put("time", {big})}, {"cp", copy}};
  AddTimes("put of 1 GiB", puts, Alternate(puts, setting.runs, prepare), {1.1}, rows);
  rows.push_back(
      {"peak memory of the get", get_usages[0].peak_mib, "cp", get_usages[1].peak_mib, "MiB", 32, false});
  return rows;
}

std::vector<Row> TreeRows(const Setting& setting) {
  Scratch& scratch = setting.scratch;
  const std::string tree = scratch.Tree();
  const std::string source = (scratch.Source() / tree).string();
  const std::string target = scratch.Theirs().string();
  const Contender copy = {"cp -a", {"cp", "-a", source, target}};
  const Contender mirror = {"rsync -a", {"rsync", "-a", source, target}};
  const Contender check = {"rsync -ac", {"rsync", "-ac", source, target}};
  const auto empty = [&] {
    scratch.EmptyTargets();
    scratch.Sync();
  };
  std::vector<Row> rows;
  const auto add = [&](const std::string& work, const std::vector<Contender>& contenders,
                       const std::vector<double>& aims, const std::function<void()>& prepare) {
    AddTimes(work, contenders, Alternate(contenders, setting.runs, prepare), aims, rows);
  };
  add("get -r of 10,000 files of 4 KiB, none present",
      {{"tvl", setting.Get("time", false, {"-r", tree})}, mirror, copy}, {1.0, kNoAim}, empty);
  add("put -r of the same", {{"tvl", setting.Put("time", {"-r", tree})}, mirror, copy}, {1.0, kNoAim}, empty);
  // rsync replaces files by renaming, as level 1 does, and syncs none of them.
  add("put -r of the same, SafeOnTransfert 1", {{"tvl", setting.Put("time", {"-r", tree}, 1)}, mirror}, {1.0},
      empty);
  add("put -r of the same, SafeOnTransfert 2", {{"tvl", setting.Put("time", {"-r", tree}, 2)}, mirror}, {1.3},
      empty);
  empty();
  Run(setting.Put("time", {"-r", tree}));
  Run(mirror.command);
  const auto keep = [] {};
  add("put -r again, nothing changed, policy time", {{"tvl", setting.Put("time", {"-r", tree})}, mirror},
      {2.0}, keep);
  add("put -r again, nothing changed, policy hash", {{"tvl", setting.Put("HASH", {"-r", tree})}, check},
      {2.0}, keep);
  add("get -r again, nothing changed, policy time",
      {{"tvl", setting.Get("time", false, {"-r", tree})}, mirror}, {2.0}, keep);
  add("get -r again, nothing changed, policy hash",
      {{"tvl", setting.Get("HASH", false, {"-r", tree})}, check}, {2.0}, keep);
  return rows;
}

std::vector<Row> PackedRows(const Setting& setting) {
  Scratch& scratch = setting.scratch;
  const std::string text = scratch.Text();
  const std::string source = (scratch.Source() / text).string();
  const std::string target = (scratch.Theirs() / text).string();
  const std::string gzip =
      "gzip -6 -c '" + source + "' >'" + target + ".gz' && gunzip -c '" + target + ".gz' >'" + target + "'";
  const std::vector<Contender> gets = {{"tvl", setting.Get("time", true, {text})},
                                       {"gzip -6, then gunzip", {"sh", "-c", gzip}}};
  std::vector<Row> rows;
  const std::vector<Usage> usages = Alternate(gets, (setting.runs + 1) / 2, [&] {
    scratch.EmptyTargets();
    scratch.Sync();
  });
  AddTimes("compressed get of 256 MiB of text", gets, usages, {1.0}, rows);

  const std::string long_text = (scratch.Source() / scratch.LongText()).string();
  const Usage quarter = Run({setting.self, "--pack", source});
  const Usage whole = Run({setting.self, "--pack", long_text});
  // Compares processor times, to check that the work grows linearly with the file.
  rows.push_back(
      {"compressing 1 GiB of text in memory, CPU", whole.cpu, "4 x 256 MiB", 4 * quarter.cpu, "s", 1.1});
  return rows;
}

int PackOnly(const char* path) {
  CCore packed;
  CZlib zlib;
  return zlib.CompressFile(path, packed) == 1 ? 0 : 1;
}

}  // namespace bench
