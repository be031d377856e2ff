#!/bin/bash
# Usage: check_links.sh PROJECT
# Every relative link in the project's pages leads to a file.

set -euo pipefail
cd "$1"
broken=0
found=0
for page in *.md docs/*.md; do
  while read -r link; do
    found=$((found + 1))
    [ -e "$(dirname "$page")/${link%%#*}" ] && continue
    echo "$page: $link does not exist" >&2
    broken=1
  done < <(grep -oE '\]\([^)]+\)' "$page" | sed 's/^](//; s/)$//' | grep -vE '^(https?:|#)' || true)
done
[ "$found" -gt 0 ] && [ "$broken" -eq 0 ]
