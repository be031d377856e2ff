#!/bin/bash
# Usage: check_man.sh PROJECT
# Every man page is formatted without a warning. Exit code 77, for a skipped test, without the programs for it.

set -euo pipefail
for program in scdoc groff; do
  command -v $program >/dev/null && continue
  echo "$program is not installed"
  exit 77
done
broken=0
for page in "$1"/man/*.scd; do
  warnings=$(scdoc <"$page" | groff -ww -man -Tutf8 -z 2>&1) && [ -z "$warnings" ] && continue
  echo "$page: $warnings" >&2
  broken=1
done
exit $broken
