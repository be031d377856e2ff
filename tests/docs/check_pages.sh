#!/bin/bash
# Usage: check_pages.sh PROJECT TVL TVLSERVER
# Every command of tvl has a man page, and no other has. The synopsis and the options of each page are those of
# the program's help.

set -euo pipefail
pages=$1/man tvl=$2 server=$3
broken=0

# same NAME HELP PAGE: compares two lists.
same() {
  diff -u --label "help of $1" --label "page of $1" <(sort -u <<<"$2") <(sort -u <<<"$3") || broken=1
}

commands_of() { "$tvl" "$@" --help | sed -n '/^Commands:/,/^$/s/^  \([a-z]\{1,\}\) .*/\1/p'; }
usage_of() { "$tvl" "$@" --help | sed -n 's/^Usage: //p'; }
options_of() {
  "$tvl" "$@" --help | sed -n '/^  -/{s/^  //; s/  .*//; s/ (required).*//; s/,-/, -/; /--help/d; p}'
}
section_of() { sed -n "/^# $2\$/,/^# [^#]/{/^# /d; p}" "$pages/$1.scd"; }
synopsis_in() { section_of "$1" SYNOPSIS | sed 's/++$//; s/[*_]//g; /^$/d'; }
options_in() { section_of "$1" OPTIONS | sed -n '/^\*-/{s/[*_]//g; /--help/d; p}'; }

# leaves_of COMMAND: the command, or its subcommands.
leaves_of() {
  local subcommands
  subcommands=$(commands_of "$1")
  if [ -n "$subcommands" ]; then sed "s/^/$1 /" <<<"$subcommands"; else echo "$1"; fi
}

# for_leaves FUNCTION COMMAND: what the function prints for each of its leaves.
for_leaves() {
  leaves_of "$2" | while read -r -a words; do "$1" "${words[@]}"; done
}

commands=$(commands_of)
same tvl "$(sed 's/.*/tvl-&/' <<<"$commands")" "$(basename -a "$pages"/tvl-*.1.scd | sed 's/\.1\.scd$//')"
same tvl "$commands" "$(section_of tvl.1 COMMANDS | grep -o 'tvl-[a-z]*' | sed 's/tvl-//')"
same tvl "$(usage_of)" "$(synopsis_in tvl.1)"
same tvl "$(options_of)" "$(options_in tvl.1)"
for command in $commands; do
  [ -e "$pages/tvl-$command.1.scd" ] || continue
  same "tvl $command" "$(for_leaves usage_of "$command")" "$(synopsis_in "tvl-$command.1")"
  same "tvl $command" "$(for_leaves options_of "$command")" "$(options_in "tvl-$command.1")"
done

long_options() { grep -oE -- '^ *(-[a-z],)?--[a-z-]+' | grep -oE -- '--[a-z-]+'; }
same tvlserver "$("$server" --help | long_options)" \
  "$(section_of tvlserver.8 OPTIONS | sed 's/[*_]//g; s/-h, //' | long_options)"
exit $broken
