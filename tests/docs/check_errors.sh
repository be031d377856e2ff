#!/bin/bash
# Usage: check_errors.sh PROJECT
# The table of docs/errors.md lists exactly the codes of errors.h, with their numbers, in order, and describes
# cause and remedy of each.

set -euo pipefail
header=$1/include/tvlclient/errors.h page=$1/docs/errors.md

in_header=$(sed -n 's/^ *\(TVL_[A-Z_]*\) = \([0-9]*\).*/\2 \1/p' "$header")
in_page=$(sed -n 's/^| *\([0-9]*\) *| *`\(TVL_[A-Z_]*\)` *| *[^| ][^|]*| *[^| ][^|]*|$/\1 \2/p' "$page")

[ -n "$in_header" ] || {
  echo "no code found in $header" >&2
  exit 1
}
diff -u --label "$header" --label "$page" <(echo "$in_header") <(echo "$in_page")
