#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>

#include "cli/command_line.h"
#include "cli/completion/candidates.h"
#include "cli/completion/limited_output.h"
#include "cli/completion/scripts.h"
#include "cli/completion/shell_line.h"
#include "cli/configuration.h"
#include "cli/output/reporter.h"
#include "cli/output/text.h"

namespace tvl::cli {
namespace {

constexpr std::chrono::milliseconds kLimit{2000};

// The first line of the output, for the shell: "words", or what it should add itself from its own knowledge,
// with the folder where to look for it.
std::string Directive(const Options& options, ArgumentKind kind) {
  switch (kind) {
    case ArgumentKind::kLocalFile:
      return "files\t.";
    case ArgumentKind::kLocalFolder:
      return "folders\t.";
    case ArgumentKind::kWorkFile:
      return "files\t" + FindWorkingDirectory(options);
    case ArgumentKind::kWorkFolder:
      return "folders\t" + FindWorkingDirectory(options);
    case ArgumentKind::kProgram:
      return "programs";
    default:
      return "words";
  }
}

// A name that contains a control character would break the lines of the output.
bool IsUsable(const Candidate& candidate) {
  return IsUtf8(candidate.text) && Printable(candidate.text) == candidate.text;
}

std::string Lines(const ParsedLine& line, std::vector<Candidate> candidates) {
  std::erase_if(candidates, [&](const Candidate& candidate) {
    return !candidate.text.starts_with(line.word) || !IsUsable(candidate);
  });
  const auto text = [](const Candidate& candidate) { return candidate.text; };
  std::ranges::sort(candidates, {}, text);
  candidates.erase(std::ranges::unique(candidates, {}, text).begin(), candidates.end());
  std::string lines;
  for (const Candidate& candidate : candidates) {
    lines += line.prefix + candidate.text;
    if (!candidate.description.empty()) lines += "\t" + candidate.description;
    lines += "\n";
  }
  return lines;
}

// The options of the program as typed so far, for access to the store.
Options OptionsOf(const ParsedLine& line) {
  Options options;
  CLI::App parser;
  AddOptions(parser, options);
  parser.parse(std::vector<std::string>(line.globals.rbegin(), line.globals.rend()));
  return options;
}

std::string Complete(const std::string& text) {
  std::vector<std::string> words = SplitShellLine(text);
  // Assignments such as TVL_WORK=DIR may precede the name of the program.
  const auto program_word = std::ranges::find_if(
      words, [](const std::string& word) { return word.find('=') == std::string::npos; });
  if (program_word == words.end() || program_word + 1 == words.end()) return {};
  words.erase(words.begin(), program_word + 1);
  Invocation invocation;
  CLI::App program;
  DescribeProgram(program, invocation);
  const ParsedLine line = ParseUnfinished(program, words);
  const Options options = OptionsOf(line);
  std::vector<Candidate> candidates =
      IsInStore(line.kind) ? StoreCandidates(options, line) : ProgramCandidates(program, line);
  return Directive(options, line.kind) + "\n" + Lines(line, std::move(candidates));
}

ExitStatus RunComplete(const Options& /*options*/, Reporter& /*reporter*/, const std::string& line) {
  const std::string lines = LimitedOutput([&] { return Complete(line); }, kLimit);
  std::fwrite(lines.data(), 1, lines.size(), stdout);
  return kDone;
}

ExitStatus RunScript(const Options& /*options*/, Reporter& /*reporter*/, const std::string& shell) {
  const char* script = CompletionScript(shell);
  if (script == nullptr) throw Stop("there is a script for bash, zsh and fish");
  std::fputs(script, stdout);
  return kDone;
}

}  // namespace

void AddCompletionCommands(CLI::App& app, Invocation& invocation) {
  AddNamed(app, invocation, "complete-script", "Print the script that completes tvl in a shell", "SHELL",
           "bash, zsh or fish", RunScript)
      .group("");
  AddNamed(app, invocation, "complete-line", "Print what may complete a command line", "LINE",
           "The line up to the cursor", RunComplete)
      .group("");
}

}  // namespace tvl::cli
