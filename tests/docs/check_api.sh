#!/bin/bash
# Usage: check_api.sh PROJECT
# The reference pages of the headers are made without a warning. Exit code 77, for a skipped test, without doxygen.

set -euo pipefail
command -v doxygen >/dev/null || {
  echo "doxygen is not installed"
  exit 77
}
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
"$1/scripts/docs" "$scratch"
[ -e "$scratch/index.html" ]
