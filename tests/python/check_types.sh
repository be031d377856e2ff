#!/bin/bash
# Usage: check_types.sh PACKAGE PYTHON
# The types of the package, its tests and its examples are complete and right, and its version is that of the library.
# Exit code 77, for a skipped test, without mypy.

set -euo pipefail
cd "$1"
header=../include/tvlclient/library_version.h
version=$(sed -n 's/^#define TVLCLIENT_VERSION_[A-Z]* \([0-9]*\)$/\1/p' "$header" | paste -sd .)
grep -qx "version = \"$version\"" pyproject.toml || {
  echo "pyproject.toml has another version than the library, $version"
  exit 1
}
command -v mypy >/dev/null || {
  echo "mypy is not installed"
  exit 77
}
mypy --strict --python-executable "$2" --cache-dir=/dev/null tavolis tests ../examples/python
